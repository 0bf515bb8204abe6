#include "metadata/ModParser.h"

#include <QCoreApplication>
#include <QDirIterator>
#include <QFileInfo>

namespace {

/// What follows the last "." in the last part of `path`.
QStringView suffix_of(const QString& path)
{
    const auto dot = path.lastIndexOf(QLatin1Char('.'));
    if (dot < path.lastIndexOf(QLatin1Char('/')) || dot < 0)
        return {};
    return QStringView(path).mid(dot + 1);
}

/// Native programs and libraries have no place in a mod that others download. The name is looked at
/// first: asking the file system about every entry would take many times longer than listing them.
bool is_forbidden(const QString& path, const QDirIterator& entry)
{
    const QStringView suffix = suffix_of(path);
    if (suffix == QLatin1String("exe") || suffix == QLatin1String("so")
        || suffix == QLatin1String("dll"))
        return entry.fileInfo().isFile();
    if (suffix == QLatin1String("app"))
        return entry.fileInfo().isDir();
    return false;
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

    QStringList offending;
    const auto parent_length = folder.lastIndexOf(QLatin1Char('/')) + 1;
    QDirIterator entries(folder, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        if (is_forbidden(path, entries))
            offending << path.mid(parent_length);
    }
    if (offending.isEmpty())
        return true;

    s_ParseMetadataResult = describe(offending);
    return false;
}

bool ModParser::ValidateModDirectory(const ModDescriptor& descriptor)
{
    return validate_mod_directory(descriptor.folder_path);
}
