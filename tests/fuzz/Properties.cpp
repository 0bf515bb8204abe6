#include "Properties.h"

#include "ModParser.h"
#include "PreviewImage.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

using ModParser::ModDescriptor;

namespace {

void require(bool holds, const char* promise)
{
    if (!holds)
        qFatal("broken promise: %s; the reader said: %s", promise, qPrintable(ModParser::GetParseMetadataResult()));
}

QByteArray read_file(const QString& path)
{
    QFile file(path);
    require(file.open(QIODevice::ReadOnly), "the file can be opened");
    return file.readAll();
}

void write_file(const QString& path, const QByteArray& content)
{
    QFile file(path);
    require(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(), "the input can be stored");
}

QStringList fields(const ModDescriptor& mod)
{
    return QStringList{mod.name,    mod.directory,  mod.id,          mod.description,
                       mod.version, mod.visibility, mod.folder_path, mod.preview_path}
           + mod.tags;
}

/// `text` without what XML cannot carry.
QString carried(const QString& text)
{
    static const QRegularExpression uncarried(
        QStringLiteral("[^\\t\\n\\r\\x{20}-\\x{D7FF}\\x{E000}-\\x{FFFD}\\x{10000}-\\x{10FFFF}]"));
    QString result; // without lone surrogates: the expression takes no text that has them
    for (int i = 0; i < text.size(); ++i) {
        const bool pair = text[i].isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate();
        if (pair)
            result += text[i++];
        if (pair || !text[i].isSurrogate())
            result += text[i];
    }
    return result.remove(uncarried);
}

/// What the next read makes of a text: carriage returns go, and nothing but blanks is nothing.
QString text_read_again(const QString& text, const QString& if_empty)
{
    const QString result = carried(text).remove(QLatin1Char('\r'));
    return result.simplified().isEmpty() ? if_empty : result;
}

ModDescriptor read_again(ModDescriptor mod, const QString& folder_name)
{
    mod.name = text_read_again(mod.name, folder_name);
    mod.directory = text_read_again(mod.directory, folder_name).toLower();
    mod.id = text_read_again(mod.id, QStringLiteral("0"));
    mod.description = text_read_again(mod.description, QString());
    mod.version = text_read_again(mod.version, QStringLiteral("1.0"));
    mod.visibility = text_read_again(mod.visibility, QStringLiteral("Public"));
    for (QString& tag : mod.tags)
        tag = carried(tag);
    return mod;
}

ModDescriptor other_mod()
{
    ModDescriptor mod;
    mod.name = mod.directory = mod.id = mod.description = mod.version = QStringLiteral("other");
    mod.visibility = mod.folder_path = mod.preview_path = QStringLiteral("other");
    mod.tags = QStringList{QStringLiteral("other")};
    return mod;
}

} // namespace

void Properties::Metadata(const QByteArray& xml)
{
    static const QTemporaryDir root;
    const QString folder = root.path() + QStringLiteral("/Mod");
    const QString file = folder + QStringLiteral("/metadata.xml");
    QDir().mkpath(folder);
    write_file(file, xml);

    ModParser::s_ParseMetadataResult.clear();
    ModDescriptor first = other_mod();
    if (!ModParser::ParseMetadata(file, first)) {
        const QString reason = ModParser::GetParseMetadataResult();
        require(!reason.isEmpty() && reason != QLatin1String("Success"), "a refusal has a reason");
        require(read_file(file) == xml, "a refused file is untouched");
        require(fields(first) == fields(other_mod()), "a refused file changes no record");
        return;
    }
    require(first.folder_path == folder && first.preview_path.isEmpty(), "the record is filled");
    require(!first.name.isEmpty() && !first.directory.isEmpty() && !first.id.isEmpty() && !first.visibility.isEmpty(),
            "what is missing is filled in");
    static const QRegularExpression version(QStringLiteral("\\A[0-9.]*\\z"));
    require(version.match(first.version).hasMatch(), "a version has digits and dots only");

    // A file whose normal form would be too large stays as it is.
    const bool kept = read_file(file) == xml;
    ModDescriptor second = other_mod();
    require(ModParser::ParseMetadata(file, second), "what was written can be read");
    require(fields(second) == fields(kept ? first : read_again(first, QStringLiteral("Mod"))),
            "what was written reads as the same mod");
    const QByteArray written = read_file(file);
    require(!written.isEmpty(), "the file is not empty");

    ModDescriptor third = other_mod();
    require(ModParser::ParseMetadata(file, third), "what was read again can be read");
    require(fields(third) == fields(second), "reading on changes no record");
    require(read_file(file) == written, "reading on changes no byte");
    require(QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)
                == QStringList{QStringLiteral("metadata.xml")},
            "nothing is left beside the file");
}

void Properties::Preview(const QByteArray& picture)
{
    const QPixmap pixmap = PreviewImage::FromData(picture);
    require(qint64{pixmap.width()} * pixmap.height() <= qint64{8} * 1024 * 1024, "a preview is bearable");
}
