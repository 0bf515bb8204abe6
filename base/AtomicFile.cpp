#include "AtomicFile.h"

#include "NativePath.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <filesystem>
#include <system_error>

#if defined(Q_OS_WIN)
#include <io.h>
#else
#include <unistd.h>
#endif

namespace {

/// The prefix of the names of temporary files: used by nobody else, and hidden on most systems.
QString hidden_prefix(const QFileInfo& file)
{
    return QLatin1Char('.') + file.fileName() + QStringLiteral(".saving-");
}

/// Flushes the file to disk, so that it is complete after a power cut.
bool reaches_disk(QFile& file)
{
    if (!file.flush())
        return false;
#if defined(Q_OS_WIN)
    return _commit(file.handle()) == 0;
#else
    return fsync(file.handle()) == 0;
#endif
}

bool has_content(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.read(content.size() + 1) == content;
}

/// Unlike QFile::rename this replaces a file that is there, in one step.
bool replace(const QString& old_path, const QString& new_path)
{
    std::error_code error;
    std::filesystem::rename(ToNativePath(new_path), ToNativePath(old_path), error);
    return !error;
}

/// Extends the file before it overwrites anything: on most file systems only extending it can fail
/// for lack of space.
void write_in_place(const QString& path, const QByteArray& content)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly | QIODevice::Unbuffered))
        return;
    const qint64 old_size = file.size();
    if (content.size() > old_size) {
        const QByteArray tail = content.mid(static_cast<int>(old_size));
        if (!file.seek(old_size) || file.write(tail) != tail.size()) {
            file.resize(old_size);
            return;
        }
    }
    if (file.seek(0) && file.write(content) == content.size() && file.resize(content.size()))
        reaches_disk(file);
}

} // namespace

void WriteFileAtomically(const QString& path, const QByteArray& content)
{
    const QFileInfo old(path);
    // A pipe or a device must not be replaced, and opening it could block.
    if (old.exists() && !(old.isFile() && old.isWritable()))
        return;
    // Two windows on one mod would take each other's writes for changes without end.
    if (has_content(path, content))
        return;
    const QString behind_links = old.canonicalFilePath(); // empty as soon as the file is gone
    const QString target = behind_links.isEmpty() ? path : behind_links;
    const QFileInfo place(target);

    // Not QSaveFile: the temporary files that it leaves when the process is killed cannot be told
    // from the mod's files, so they could never be removed and would be uploaded.
    const QString process = QString::number(QCoreApplication::applicationPid());
    QFile temp_file(place.path() + QLatin1Char('/') + hidden_prefix(place) + process);
    temp_file.remove(); // of a program with the same number that was killed
    if (!temp_file.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
        write_in_place(target, content);
        return;
    }
    if (old.exists())
        temp_file.setPermissions(place.permissions()); // not every file system has them
    const bool is_whole = temp_file.write(content) == content.size() && reaches_disk(temp_file);
    temp_file.close();
    if (is_whole && replace(target, temp_file.fileName()))
        return;
    temp_file.remove();
    // A file that another program has open can often be written but not replaced, and a full disk
    // often has room for a few more bytes in an existing file. The number of a new Workshop item
    // must not be lost.
    write_in_place(target, content);
}

void RemoveStaleTempFiles(const QString& path)
{
    const QFileInfo place(QFileInfo(path).canonicalFilePath());
    if (place.filePath().isEmpty()) // the file has gone; this would be the working directory
        return;
    QDir folder = place.dir();
    const QStringList pattern{hidden_prefix(place) + QLatin1Char('*')};
    for (const QString& name : folder.entryList(pattern, QDir::Files | QDir::Hidden)) {
        folder.remove(name);
    }
}
