#include "MainWindow.h"

#include "ui_MainWindow.h"

#include "Logger.h"
#include "SteamWrapper.h"
#include "XmlLimits.h"

#include <QDropEvent>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QMimeData>
#include <QUrl>

#include <algorithm>
#include <utility>

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

/// FAT keeps dates in steps of two seconds; every other file system in use has finer ones.
constexpr qint64 coarsest_date_ms = 2000;

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

    const FileState former_metadata = std::exchange(known_metadata, look_at(path));
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
        if (path != watched_path())
            known_metadata = former_metadata;
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
    if (mod_descriptor.folder_path.isEmpty())
        return;
    // Any other content means that the save has failed, or that somebody has already changed the
    // file. A file that cannot be read, for example because a virus scanner has it open, is our
    // own.
    const FileState saved = look_at(watched_path());
    const QByteArray own = mod_descriptor.ToXml();
    if (saved.content.isNull() || saved.content == own)
        known_metadata = {saved.date, own};
}

/// Reads the loaded file again when something else has changed it. Always the last mod that was
/// read successfully is watched; a file that has disappeared has no date and counts as unchanged.
void MainWindow::reread_changed_metadata()
{
    if (mod_descriptor.folder_path.isEmpty())
        return;
    const QDateTime date = QFileInfo(watched_path()).lastModified();
    if (!date.isValid())
        return;
    // Changes within one step of the file system's clock leave the same date, so until that step is
    // over only the content shows them. A file that could not be read is tried again.
    const bool is_settled = date.addMSecs(coarsest_date_ms) < last_metadata_time;
    if (date == known_metadata.date && is_settled && !known_metadata.content.isNull())
        return;
    last_metadata_time = QDateTime::currentDateTime();
    const QByteArray content = look_at(watched_path()).content;
    if (date != known_metadata.date || (!content.isNull() && content != known_metadata.content)) {
        process_metadata_file(watched_path(),
                              QStringLiteral("Detected metadata change, reprocessing"));
    }
}

QString MainWindow::watched_path() const
{
    return mod_descriptor.folder_path + QStringLiteral("/metadata.xml");
}

MainWindow::FileState MainWindow::look_at(const QString& path)
{
    const QDateTime date = QFileInfo(path).lastModified();
    QFile file(path);
    // Opening a pipe would wait for a writer.
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
        return {date, {}};
    const QByteArray content = file.read(XmlLimits::max_bytes + 1);
    return {date, content.isNull() ? QByteArray("") : content}; // Qt reads null from an empty file
}
