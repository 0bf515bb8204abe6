#include "Properties.h"

#include "PreviewImage.h"
#include "TextFields.h"

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

QStringList fields(const ModDescriptor& mod)
{
    QStringList texts = QStringList{mod.folder_path, mod.preview_path} + mod.tags;
    for (const ModParser::TextField& field : ModParser::text_fields)
        texts << mod.*field.member;
    return texts;
}

ModDescriptor other_mod()
{
    ModDescriptor mod;
    mod.name = mod.version = mod.folder_path = mod.preview_path = QStringLiteral("other");
    mod.tags = QStringList{QStringLiteral("other")};
    return mod;
}

} // namespace

bool Properties::Metadata(const QByteArray& xml)
{
    static const QTemporaryDir root;
    const QString folder = root.path() + QStringLiteral("/Mod");
    const QString path = folder + QStringLiteral("/metadata.xml");
    QDir().mkpath(folder);
    QFile file(path);
    require(file.open(QIODevice::WriteOnly) && file.write(xml) == xml.size(), "the input can be stored");
    file.close();

    ModParser::s_ParseMetadataResult.clear();
    ModDescriptor first = other_mod();
    if (!ModParser::ParseMetadata(path, first)) {
        const QString reason = ModParser::GetParseMetadataResult();
        require(!reason.isEmpty() && reason != QLatin1String("Success"), "a refusal has a reason");
        require(read_file(path) == xml, "a refused file is untouched");
        require(fields(first) == fields(other_mod()), "a refused file changes no record");
        return false;
    }
    require(first.folder_path == folder && first.preview_path.isEmpty(), "the record is filled");
    require(!first.name.isEmpty() && !first.directory.isEmpty() && !first.id.isEmpty() && !first.visibility.isEmpty(),
            "what is missing is filled in");
    static const QRegularExpression version(QStringLiteral("\\A[0-9.]*\\z"));
    require(version.match(first.version).hasMatch(), "a version has digits and dots only");

    // Not as the first: what XML cannot carry is lost with the first write.
    ModDescriptor second = other_mod();
    require(ModParser::ParseMetadata(path, second), "what was written can be read");
    const QByteArray written = read_file(path);
    ModDescriptor third = other_mod();
    require(ModParser::ParseMetadata(path, third), "what was read again can be read");
    require(fields(third) == fields(second), "reading on changes no record");
    require(read_file(path) == written && !written.isEmpty(), "reading on changes no byte");
    require(QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)
                == QStringList{QStringLiteral("metadata.xml")},
            "nothing is left beside the file");
    return true;
}

bool Properties::Preview(const QByteArray& image)
{
    const QPixmap pixmap = PreviewImage::FromData(image);
    require(qint64{pixmap.width()} * pixmap.height() <= qint64{8} * 1024 * 1024, "a preview is bearable");
    return !pixmap.isNull();
}
