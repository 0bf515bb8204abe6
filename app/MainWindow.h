#pragma once

#include "ModParser.h"

#include <QByteArray>
#include <QDateTime>
#include <QMainWindow>
#include <QTimer>

class QModelIndex;
class QMovie;
class QPixmap;
class Ui_MainWindow;
class UploadDialog;

/// The one window of the program. It owns the form and the loaded mod, and runs the heartbeat from
/// which everything that Steam reports is delivered. GUI thread only.
///
/// Its actions are in a source file for each group: MainWindowPanel (the mod information panel),
/// MainWindowIntake (choosing, dropping and watching "metadata.xml", fetching the preview),
/// MainWindowUpload (upload with its progress, view), MainWindowEditing (choosing a preview,
/// visibility and tags).
class MainWindow : public QMainWindow
{
    Q_OBJECT
    Q_DISABLE_COPY(MainWindow)

public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    /// The window that was built last; null before the first. Never reset.
    static MainWindow* GetWindow();

    /// The loaded mod, to be read and changed in place. Every text is empty before the first load.
    ModParser::ModDescriptor& GetModDescriptor();

    /// Records that the program itself has just written "metadata.xml", so that the watch does not
    /// take the write for an outside change. Also to be called when the write has failed.
    void NotifyMetadataUpdated();

    /// Saves the description that is being edited, and puts back what an upload has taken out of
    /// the mod's folder. To be called when the program is about to end, as often as need be.
    void Finish();

    /// Copies the loaded mod into the information panel.
    void refresh_mod_information_ui();

    /// Switches that enable or disable a fixed group of controls.
    void enable_all_ui(bool enable);
    void enable_uploading_ui(bool enable);
    void enable_information_ui(bool enable);
    void enable_viewing_ui(bool enable);
    void enable_processing_ui(bool enable);

    /// Reads the metadata file at `path` (absolute, "/" separators), reports in the log with
    /// `action` as the verb, and shows the mod. A file that cannot be read locks the controls and
    /// leaves the mod that was loaded before.
    void process_metadata_file(const QString& path, const QString& action);

private slots:
    void update();
    void dragEnterEvent(QDragEnterEvent* Event) override;
    void dropEvent(QDropEvent* Event) override;
    void on_SubmitButton_clicked();
    void on_ViewButton_clicked();
    void on_ChooseMetadata_clicked();
    void on_ChangePreview_clicked();
    void on_ModVisibility_currentIndexChanged(int Index);
    void on_ModTags_clicked(const QModelIndex&);

private:
    /// A file at one moment; the date is taken first, so that a later change cannot hide behind it.
    struct FileState
    {
        QDateTime date;
        QByteArray content; // null if it cannot be read
    };

    static void mod_upload_result_received(bool success, void* user);
    static void preview_image_downloaded(const QPixmap& preview, void* user);

    void start_loading_movie();
    void show_loading_movie();
    void show_preview(const QPixmap& preview);
    void fill_tag_list();
    void fill_visibility_box();
    static FileState look_at(const QString& path);
    QString watched_path() const;
    void fetch_workshop_preview();
    void forward_upload_progress();
    void reread_changed_metadata();

    static MainWindow* s_Window;

    Ui_MainWindow* ui = nullptr;
    /// The progress dialog while an upload runs; a child of the window.
    UploadDialog* upload_dialog = nullptr;
    ModParser::ModDescriptor mod_descriptor;
    /// When the program last read, wrote or looked at the metadata file.
    QDateTime last_metadata_time;
    /// The metadata file as the program itself left it, or saw it before it read it.
    FileState known_metadata;
    QTimer timer;
    QMovie* loading_movie = nullptr;
};
