#include "Properties.h"

#include "ModParser.h"
#include "PreviewImage.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

using ModParser::ModDescriptor;

namespace {

const ModDescriptor other{"other", "", "", "", "other", {"other"}, "other", "other", ""};

void require(bool holds, const char* promise)
{
    if (!holds)
        qFatal("broken promise: %s; the reader said: %s", promise, qPrintable(ModParser::GetParseMetadataResult()));
}

/// The whole record, and all bytes of its file.
QByteArray state(const ModDescriptor& mod, const QString& path)
{
    QFile file(path);
    require(file.open(QIODevice::ReadOnly), "the file can be opened");
    return mod.ToXml() + mod.folder_path.toUtf8() + '\n' + mod.preview_path.toUtf8() + '\n' + file.readAll();
}

} // namespace

bool Properties::Metadata(const QByteArray& xml)
{
    static const QTemporaryDir root;
    const QString path = root.filePath("metadata.xml");
    QFile file(path);
    require(file.open(QIODevice::WriteOnly) && file.write(xml) == xml.size(), "the input can be stored");
    file.close();

    ModParser::s_ParseMetadataResult.clear();
    ModDescriptor first = other;
    const QByteArray before = state(first, path);
    if (!ModParser::ParseMetadata(path, first)) {
        const QString reason = ModParser::GetParseMetadataResult();
        require(!reason.isEmpty() && reason != "Success", "a refusal has a reason");
        require(state(first, path) == before, "a refused file changes nothing");
        return false;
    }
    // Not as the first: what XML cannot carry is lost with the first write.
    ModDescriptor second = other;
    require(ModParser::ParseMetadata(path, second), "what was written can be read");
    const QByteArray written = state(second, path);
    ModDescriptor third = other;
    require(ModParser::ParseMetadata(path, third) && state(third, path) == written, "reading on changes nothing");
    require(QDir(root.path()).entryList(QDir::Files | QDir::Hidden).size() == 1, "nothing is left beside the file");
    return true;
}

bool Properties::Preview(const QByteArray& image)
{
    const QPixmap pixmap = PreviewImage::FromData(image);
    require(qint64{pixmap.width()} * pixmap.height() <= qint64{8} * 1024 * 1024, "a preview is bearable");
    return !pixmap.isNull();
}
