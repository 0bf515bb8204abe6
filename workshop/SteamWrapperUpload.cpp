#include "SteamWrapper.h"

#include "ISteamUGC.h"
#include "Logger.h"
#include "MainWindow.h"
#include "QtDifferences.h"
#include "SteamApi.h"
#include "Visibility.h"

#include <QFile>
#include <QFileInfo>
#include <QTextStream>

#include <vector>

namespace {

ERemoteStoragePublishedFileVisibility to_steam_visibility(const QString& visibility)
{
    static_assert(k_ERemoteStoragePublishedFileVisibilityPublic == 0
                  && k_ERemoteStoragePublishedFileVisibilityFriendsOnly == 1
                  && k_ERemoteStoragePublishedFileVisibilityPrivate == 2);
    return static_cast<ERemoteStoragePublishedFileVisibility>(
        ModParser::visibility_index(visibility));
}

/// The whole "metadata.xml" as UTF-8, empty if it cannot be read.
QByteArray read_metadata_text(const QString& folder_path)
{
    QFile file(folder_path + QStringLiteral("/metadata.xml"));
    // Opening a pipe would block until somebody writes.
    if (!QFileInfo(file).isFile() || !file.open(QIODevice::ReadOnly))
        return {};
    QTextStream stream(&file);
    QtDifferences::ReadUtf8(stream); // not the locale's
    return stream.readAll().toUtf8();
}

void create_empty_file(const QString& path)
{
    QFile file(path);
    // A pipe that could not be removed is still there, and opening it would block.
    if (!file.exists() || QFileInfo(file).isFile())
        file.open(QIODevice::WriteOnly);
}

} // namespace

void SteamWrapper::UploadMod(const ModParser::ModDescriptor& mod, const QString& changeNotes,
                             void (*callback)(bool success, void* user), void* user)
{
    current_mod = mod;
    change_notes = changeNotes;
    upload_callback = CallbackInfo<bool>(callback, user);
    update_workshop_mod();
}

void SteamWrapper::create_workshop_mod()
{
    ISteamUGC* const ugc = SteamApi::Context().UGC;
    const SteamAPICall_t call =
        ugc ? ugc->CreateItem(TARNWICK_STEAM_APP_ID, k_EWorkshopFileTypeCommunity)
            : k_uAPICallInvalid;
    create_call_result.Set(call, this, &SteamWrapper::on_mod_created);
}

void SteamWrapper::update_workshop_mod()
{
    const PublishedFileId_t item = current_mod.id.toULongLong();
    if (item == 0) {
        create_workshop_mod();
        return; // goes on from on_mod_created
    }

    remove_disable_marker();

    SteamAPICall_t call = k_uAPICallInvalid;
    if (ISteamUGC* const ugc = SteamApi::Context().UGC) {
        update_handle = ugc->StartItemUpdate(TARNWICK_STEAM_APP_ID, item);
        set_item_fields(*ugc);
        const QByteArray notes = change_notes.toUtf8();
        call = ugc->SubmitItemUpdate(update_handle, notes.constData());
    } else {
        update_handle = k_UGCUpdateHandleInvalid;
    }
    submit_call_result.Set(call, this, &SteamWrapper::on_mod_updated);
}

void SteamWrapper::set_item_fields(ISteamUGC& ugc)
{
    const QByteArray title = current_mod.name.toUtf8();
    const QByteArray description = current_mod.description.toUtf8();
    const QByteArray content = current_mod.folder_path.toUtf8();
    const QByteArray preview = current_mod.preview_path.toUtf8();
    ugc.SetItemTitle(update_handle, title.constData());
    ugc.SetItemDescription(update_handle, description.constData());
    ugc.SetItemContent(update_handle, content.constData());
    ugc.SetItemPreview(update_handle, preview.constData());
    set_item_tags(ugc);
    ugc.SetItemVisibility(update_handle, to_steam_visibility(current_mod.visibility));
    // As it is on disk now: after a creation it holds the new id.
    const QByteArray metadata = read_metadata_text(current_mod.folder_path);
    ugc.SetItemMetadata(update_handle, metadata.constData());
}

void SteamWrapper::set_item_tags(ISteamUGC& ugc)
{
    std::vector<QByteArray> texts;
    std::vector<const char*> pointers;
    for (const QString& tag : current_mod.tags) {
        // Cut to one byte more than the tag has characters: no cut for Workshop tags, which are
        // ASCII. The terminator is kept in any case.
        texts.push_back(tag.toUtf8().left(tag.size() + 1));
        pointers.push_back(texts.back().constData());
    }
    const SteamParamStringArray_t tags{pointers.data(), static_cast<std::int32_t>(pointers.size())};
    ugc.SetItemTags(update_handle, &tags);
}

QString SteamWrapper::disable_marker_path() const
{
    return tr("%1/disable.it").arg(current_mod.folder_path);
}

/// The marker switches the mod off in the author's own game; players must not get it.
void SteamWrapper::remove_disable_marker()
{
    const QString path = disable_marker_path();
    disable_marker_removed = QFile::exists(path);
    if (disable_marker_removed) {
        QFile::remove(path);
        removed_marker_path = path;
    }
}

void SteamWrapper::RestoreDisableMarker()
{
    if (!removed_marker_path.isEmpty())
        create_empty_file(removed_marker_path);
    removed_marker_path.clear();
}

void SteamWrapper::on_mod_created(CreateItemResult_t* result, bool /*ioFailure*/)
{
    if (result->m_eResult != k_EResultOK) {
        log_failed_upload(result->m_eResult);
        upload_callback.Call(false);
        return;
    }

    // The id goes to disk before anything is sent: were it lost, the next upload would create a
    // second item.
    current_mod.id = QString::number(result->m_nPublishedFileId);
    ModParser::ModDescriptor& loaded_mod = MainWindow::GetWindow()->GetModDescriptor();
    loaded_mod.id = current_mod.id;
    loaded_mod.SaveMetadata();

    update_workshop_mod();
    item_created = true;
}

void SteamWrapper::on_mod_updated(SubmitItemUpdateResult_t* result, bool /*ioFailure*/)
{
    update_handle = 0;
    if (disable_marker_removed) {
        const QString path = disable_marker_path();
        create_empty_file(path);
        disable_marker_removed = false;
        if (path == removed_marker_path)
            removed_marker_path.clear();
    }

    if (result->m_eResult != k_EResultOK) {
        log_failed_upload(result->m_eResult);
        upload_callback.Call(false);
        return;
    }

    const QString note =
        item_created ? tr("(may take a short time to appear publically)") : QString();
    Logger::LogMessage(
        tr("Successfully uploaded mod '%1' to Steam Workshop %2").arg(current_mod.name, note),
        Logger::Success);
    if (result->m_bUserNeedsToAcceptWorkshopLegalAgreement) {
        Logger::LogMessage(tr("You need to accept the Steam Workshop EULA before the mod will "
                              "appear publically, click 'View Mod' for more info"),
                           Logger::Warning);
    }
    upload_callback.Call(true);
}

void SteamWrapper::log_failed_upload(EResult result)
{
    Logger::LogMessage(tr("Failed to upload mod '%1': %2")
                           .arg(current_mod.name, convert_eresult_to_string(result)),
                       Logger::Error);
}

int SteamWrapper::GetUploadModProgress()
{
    if (update_handle == 0)
        return -1;

    std::uint64_t processed = 0;
    std::uint64_t total = 0;
    if (ISteamUGC* const ugc = SteamApi::Context().UGC)
        ugc->GetItemUpdateProgress(update_handle, &processed, &total);
    if (processed == 0 || total == 0)
        return 0;
    // In tenths, although the bar they are shown on has a hundred steps.
    return static_cast<int>(static_cast<float>(processed) / static_cast<float>(total) * 10.0F);
}
