#include "ModParser.h"

#include "NativePath.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

namespace fs = std::filesystem;

namespace {

/// So many folders are open at a time. Each takes a handle, and a program may have only 256.
constexpr std::size_t most_open = 50;

bool ends_with(const fs::path& path, std::string_view end)
{
    const auto& text = path.native();
    return text.size() >= end.size() && std::equal(end.rbegin(), end.rend(), text.rbegin());
}

/// By its name on every system, so that a folder passes everywhere or nowhere; on Windows also by
/// its attribute.
bool is_hidden(const fs::directory_entry& entry)
{
    const QFileInfo file(FromNativePath(entry.path()));
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

/// Every forbidden entry below `folder`. Not by QDirIterator, which passes over names that are not
/// in the system's encoding and runs out of handles in deep folders: what it misses is published.
QStringList find_forbidden(const QString& folder)
{
    QStringList found;
    std::error_code error; // what cannot be read holds nothing
    std::vector<fs::path> waiting{ToNativePath(folder)};
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
            found << FromNativePath(entries->path());
        const fs::path below = leads_down(*entries) ? entries->path() : fs::path();
        entries.increment(error);
        if (!below.empty() && open.size() < most_open)
            open.emplace_back(below, error);
        else if (!below.empty())
            waiting.push_back(below);
    }
    return found;
}

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

    QStringList offending = find_forbidden(folder);
    // As it comes back: the system may write the same name in another way.
    const QString written = FromNativePath(ToNativePath(folder));
    for (QString& path : offending)
        path.remove(0, written.lastIndexOf(QLatin1Char('/')) + 1);
    if (offending.isEmpty())
        return true;

    s_ParseMetadataResult = describe(offending);
    return false;
}

bool ModParser::ValidateModDirectory(const ModDescriptor& descriptor)
{
    return validate_mod_directory(descriptor.folder_path);
}
