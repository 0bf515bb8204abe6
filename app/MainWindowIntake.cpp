#include "app/MainWindow.h"

#include "ui_MainWindow.h"

#include "metadata/NativePath.h"
#include "widgets/Logger.h"
#include "workshop/SteamWrapper.h"

#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QMimeData>
#include <QUrl>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace {

/// The first URL whose text ends with the name of the metadata file, an empty one if none does.
/// Only the end counts here; the reader checks the whole file name and says what is wrong with it.
QUrl find_metadata_url(const QMimeData& data)
{
    const QList<QUrl> urls = data.urls();
    const auto found = std::find_if(urls.begin(), urls.end(), [](const QUrl& url) {
        return url.toString().endsWith(QLatin1String("metadata.xml"));
    });
    return found == urls.end() ? QUrl() : *found;
}

} // namespace

void MainWindow::on_ChooseMetadata_clicked()
{
    const QString path =
        QFileDialog::getOpenFileName(this, QStringLiteral("Choose Metadata"), QString(),
                                     QStringLiteral("Metadata (metadata.xml)"));
    if (!path.isEmpty())
        process_metadata_file(path, tr("Processing"));
}

void MainWindow::dragEnterEvent(QDragEnterEvent* Event)
{
    if (!find_metadata_url(*Event->mimeData()).isEmpty())
        Event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* Event)
{
    const QUrl url = find_metadata_url(*Event->mimeData());
    if (!url.isEmpty())
        process_metadata_file(url.toLocalFile(), tr("Processing"));
}

void MainWindow::process_metadata_file(const QString& path, const QString& action)
{
    const QStringList parts = path.split(tr("/"));
    const QString display_name =
        parts.size() < 2 ? path : tr("%1/%2").arg(parts.at(parts.size() - 2), parts.last());
    const QString former_id = mod_descriptor.id;

    const bool ok = ModParser::ParseMetadata(path, mod_descriptor);
    if (ok) {
        Logger::LogMessage(tr("%1 '%2'... Success").arg(action, display_name), Logger::Success);
        Logger::LogMessage(tr("Ready to upload mod '%1'").arg(mod_descriptor.name), Logger::Info);
        refresh_mod_information_ui();
        if (QString::compare(mod_descriptor.id, former_id, Qt::CaseInsensitive) != 0)
            fetch_workshop_preview();
    } else {
        Logger::LogMessage(tr("%1 '%2'... Failed").arg(action, display_name), Logger::Error);
        Logger::LogMessage(ModParser::GetParseMetadataResult(), Logger::Error);
    }

    enable_uploading_ui(ok);
    enable_information_ui(ok);
    enable_viewing_ui(ok && mod_descriptor.id.toULongLong() != 0);
    last_metadata_time = QDateTime::currentDateTime();
}

void MainWindow::fetch_workshop_preview()
{
    if (SteamWrapper::GetInstance()->RetrieveModPreview(
            mod_descriptor, MainWindow::preview_image_downloaded, this)) {
        show_loading_movie();
    } else {
        show_preview(QPixmap());
    }
}

void MainWindow::preview_image_downloaded(const QPixmap& preview, void* user)
{
    auto* const window = static_cast<MainWindow*>(user);
    window->ui->ModPreview->setScaledContents(true);
    window->show_preview(preview);
}

void MainWindow::NotifyMetadataUpdated()
{
    last_metadata_time = QDateTime::currentDateTime();
}

/// Reads the loaded file again when something else has changed it. Always the last mod that was
/// read successfully is watched; a file that has disappeared has no time and counts as unchanged.
void MainWindow::reread_changed_metadata()
{
    if (mod_descriptor.folder_path.isEmpty())
        return;
    const QString path = mod_descriptor.folder_path + QStringLiteral("/metadata.xml");
    // Looked at first as it stands on the disk: a calendar time costs ten times as much, and this
    // runs thirty times a second.
    std::error_code error;
    const auto written = std::filesystem::last_write_time(ToNativePath(path), error);
    if (error || written == last_written)
        return;
    last_written = written;
    const QDateTime modified = QFileInfo(path).lastModified();
    // A time from a clock ahead of ours stays later for long; once is enough for each change.
    if (last_metadata_time < modified && modified != last_reread_change) {
        last_reread_change = modified;
        process_metadata_file(path, QStringLiteral("Detected metadata change, reprocessing"));
    }
}
