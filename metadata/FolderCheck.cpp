#include "ModParser.h"

#include "NativePath.h"

#include <QCoreApplication>
#include <QFileInfo>

#if defined(Q_OS_WIN)
#include <QDirIterator>
#else
#include <QFile>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

namespace fs = std::filesystem;
#endif

namespace {

#if defined(Q_OS_WIN)

bool is_forbidden(const QFileInfo& entry)
{
    const QString suffix = entry.suffix();
    if (suffix == QLatin1String("exe") || suffix == QLatin1String("so")
        || suffix == QLatin1String("dll"))
        return entry.isFile();
    return suffix == QLatin1String("app") && entry.isDir();
}

/// Every forbidden entry below `folder`, from the folder's own name on. Not by std::filesystem:
/// that of MinGW lists another folder when a path has more than 260 characters.
QStringList find_forbidden(const QString& folder)
{
    QStringList found;
    QStringList waiting{folder};
    while (!waiting.isEmpty()) {
        // This leaves out what has the hidden attribute.
        QDirIterator entries(waiting.takeLast(), QDir::AllEntries | QDir::NoDotAndDotDot);
        while (entries.hasNext()) {
            const QString path = entries.next();
            const QFileInfo entry = entries.fileInfo();
            // Hidden elsewhere: a folder is to pass on every system or on none.
            if (entry.fileName().startsWith(QLatin1Char('.')))
                continue;
            if (is_forbidden(entry))
                found << path.mid(folder.lastIndexOf(QLatin1Char('/')) + 1);
            if (entry.isDir() && !entry.isSymLink() && !entry.isJunction())
                waiting << path;
        }
    }
    return found;
}

#else

/// So many folders are open at a time. Each takes a handle, and a program may have only 256.
constexpr std::size_t most_open = 50;

bool ends_with(const fs::path& path, std::string_view end)
{
    const auto& text = path.native();
    return text.size() >= end.size() && std::equal(end.rbegin(), end.rend(), text.rbegin());
}

/// By its name, and where there is one by its attribute.
bool is_hidden(const fs::directory_entry& entry)
{
    const QFileInfo file(QFile::decodeName(entry.path().c_str()));
    return file.fileName().startsWith(QLatin1Char('.')) || file.isHidden();
}

/// Native programs and libraries have no place in a mod that others download. The name is looked at
/// first: asking the file system about every entry would take many times longer than listing them.
bool is_forbidden(const fs::directory_entry& entry)
{
    const fs::path& path = entry.path();
    std::error_code error;
    if (ends_with(path, ".exe") || ends_with(path, ".so") || ends_with(path, ".dll"))
        return entry.is_regular_file(error) && !is_hidden(entry);
    if (ends_with(path, ".app"))
        return entry.is_directory(error) && !is_hidden(entry);
    return false;
}

/// Whether the walk goes on below `entry`: not through links, which could lead round in a circle.
bool leads_down(const fs::directory_entry& entry)
{
    std::error_code error;
    return entry.is_directory(error) && fs::is_directory(entry.symlink_status(error))
           && !is_hidden(entry);
}

/// Every forbidden entry below `folder`, from the folder's own name on. Not by QDirIterator, which
/// passes over names that are not in the system's encoding and runs out of handles in deep folders:
/// what it misses is published.
QStringList find_forbidden(const QString& folder)
{
    QStringList found;
    std::error_code error; // what cannot be read holds nothing
    const fs::path root = ToNativePath(folder);
    const auto own_name = root.native().rfind('/') + 1;
    std::vector<fs::path> waiting{root};
    std::vector<fs::directory_iterator> open;
    while (!open.empty() || !waiting.empty()) {
        if (open.empty()) {
            open.emplace_back(waiting.back(), error);
            waiting.pop_back();
        }
        fs::directory_iterator& entries = open.back();
        if (entries == fs::directory_iterator()) {
            open.pop_back();
            continue;
        }
        if (is_forbidden(*entries))
            found << QFile::decodeName(entries->path().c_str() + own_name);
        const fs::path below = leads_down(*entries) ? entries->path() : fs::path();
        entries.increment(error);
        if (!below.empty() && open.size() < most_open)
            open.emplace_back(below, error);
        else if (!below.empty())
            waiting.push_back(below);
    }
    return found;
}

#endif

QString describe(const QStringList& offending)
{
    QString text = QCoreApplication::translate(
        "", "Mod folder contains one more more files that are not allowed to be uploaded to Steam "
            "Workshop");
    for (const QString& path : offending) {
        text += QCoreApplication::translate("", "<br>&nbsp;&nbsp;&nbsp;&nbsp;'.../%1'").arg(path);
    }
    text += QCoreApplication::translate("", "<br>Please remove the offending files and try again");
    return text;
}

} // namespace

bool ModParser::validate_mod_directory(QString folder)
{
    // An empty path would stand for the working directory.
    if (folder.isEmpty())
        return true;

    const QStringList offending = find_forbidden(folder);
    if (offending.isEmpty())
        return true;

    s_ParseMetadataResult = describe(offending);
    return false;
}

bool ModParser::ValidateModDirectory(const ModDescriptor& descriptor)
{
    return validate_mod_directory(descriptor.folder_path);
}
