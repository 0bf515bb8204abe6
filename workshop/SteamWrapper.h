#pragma once

#include "CallResult.h"
#include "ModParser.h"
#include "SteamTypes.h"

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <QString>

class ISteamUGC;
class QNetworkAccessManager;
class QNetworkReply;
class QPixmap;

/// The one object through which the program reaches Steam and the Workshop. GUI thread only.
///
/// At most one upload and one preview request are followed at a time: starting another of the same
/// kind replaces the earlier one, which is then never answered.
class SteamWrapper : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(SteamWrapper)

public:
    /// A caller's completion function with the pointer that is passed back to it unchanged.
    template<typename Argument>
    struct CallbackInfo
    {
        using Function = void (*)(Argument, void*);

        CallbackInfo(Function new_callback, void* new_user) : callback(new_callback), user(new_user)
        {}

        void Reset() { *this = CallbackInfo(nullptr, nullptr); }

        void Call(Argument argument) const
        {
            if (callback)
                callback(argument, user);
        }

        Function callback;
        void* user;
    };

    /// The one instance, created at the first call. Creation does not start Steam.
    static SteamWrapper* GetInstance();
    /// Deletes the instance if there is one.
    static void DestroyInstance();

    /// Starts the Steam API and reports the outcome in the log. After false the object can be used,
    /// but nothing reaches Steam.
    bool Initialize();
    /// Why `Initialize` has failed, in a plain sentence; empty if it has not.
    QString StartProblem() const;
    /// Lets Steam deliver what has arrived; to be called regularly. Does nothing while Steam is not
    /// there.
    void Update();
    void Shutdown();

    /// Uploads `mod` with `changeNotes`, creating the Workshop item first if `mod` has none.
    /// Returns at once; `callback` runs once Steam has answered, from inside `Update`. A call that
    /// Steam does not accept is never answered.
    void UploadMod(const ModParser::ModDescriptor& mod, const QString& changeNotes,
                   void (*callback)(bool success, void* user), void* user);

    /// Puts the marker "disable.it" back if an upload has removed it that Steam has not answered.
    /// To be called before the end of the program.
    void RestoreDisableMarker();

    /// Progress of the upload in tenths, 0 to 10; 0 while Steam knows no figures, -1 while no item
    /// is being updated.
    int GetUploadModProgress();

    /// Fetches the preview picture of `mod`'s Workshop item. Returns false, doing nothing, when
    /// `mod` has no item. Otherwise `callback` receives the picture, null if it could not be
    /// downloaded or decoded; it is never called when Steam knows no preview.
    bool RetrieveModPreview(const ModParser::ModDescriptor& mod,
                            void (*callback)(const QPixmap& preview, void* user), void* user);

    /// A short English explanation of a result code.
    static QString convert_eresult_to_string(EResult result);

private slots:
    void received_network_reply(QNetworkReply* reply);

private:
    SteamWrapper() = default;
    ~SteamWrapper() override = default;

    void create_workshop_mod();
    void update_workshop_mod();
    void set_item_fields(ISteamUGC& ugc);
    void set_item_tags(ISteamUGC& ugc);
    QString disable_marker_path() const;
    void remove_disable_marker();

    void on_mod_created(CreateItemResult_t* result, bool ioFailure);
    void on_mod_updated(SubmitItemUpdateResult_t* result, bool ioFailure);
    void on_mod_query_complete(SteamUGCQueryCompleted_t* result, bool ioFailure);
    void take_preview_bytes();
    void log_failed_upload(EResult result);

    static SteamWrapper* s_Instance;

    /// Made by `Initialize`; the wrapper is its Qt parent.
    QNetworkAccessManager* network_access_manager = nullptr;
    /// The mod that is being uploaded or whose preview is being fetched: one copy for both, so a
    /// preview request during an upload changes what the upload's later steps speak of.
    ModParser::ModDescriptor current_mod;
    QString change_notes;
    UGCQueryHandle_t query_handle = 0;
    UGCUpdateHandle_t update_handle = 0;
    /// An item was created in this run of the program. Never cleared: every later success carries
    /// the note that the item may take a while to appear.
    bool item_created = false;
    /// The mod folder held a marker that is to be put back after the upload.
    bool disable_marker_removed = false;
    /// Where a marker was removed and has not been put back; empty otherwise.
    QString removed_marker_path;
    /// The newest preview download.
    QPointer<QNetworkReply> preview_reply;
    /// What has arrived of it.
    QByteArray preview_bytes;
    CallbackInfo<bool> upload_callback{nullptr, nullptr};
    CallbackInfo<const QPixmap&> preview_callback{nullptr, nullptr};

    // Destroyed, and so unregistered, in the reverse order.
    CCallResult<SteamWrapper, SteamUGCQueryCompleted_t> query_call_result;
    CCallResult<SteamWrapper, CreateItemResult_t> create_call_result;
    CCallResult<SteamWrapper, SubmitItemUpdateResult_t> submit_call_result;
};
