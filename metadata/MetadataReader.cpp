#include "ModParser.h"

#include "AtomicFile.h"
#include "QtDifferences.h"
#include "TextFields.h"
#include "XmlError.h"
#include "XmlLimits.h"
#include "XmlText.h"

#include <QCoreApplication>
#include <QDomDocument>
#include <QFile>
#include <QFileInfo>

QString ModParser::s_ParseMetadataResult;

namespace {

/// Steam takes 128 bytes. The log reads a name as HTML in a time that grows with the square of its
/// markup: 64,000 characters stop the window for four seconds.
constexpr int max_name = 8000;

QString translated(const char* text)
{
    return QCoreApplication::translate("", text);
}

bool fail(const QString& reason)
{
    ModParser::s_ParseMetadataResult = reason;
    return false;
}

bool fail_to_parse(const XmlError& error)
{
    return fail(
        translated("Failed to parse specified metadata file: "
                   "error at line %1, column %2:\n%3")
            .arg(QString::number(error.line), QString::number(error.column), error.message));
}

/// Text mode takes single bytes away, which would leave nothing of UTF-16.
QString read_text(QFile& file)
{
    const QByteArray mark = file.peek(2);
    file.setTextModeEnabled(mark != QByteArray("\xFF\xFE") && mark != QByteArray("\xFE\xFF"));
    return XmlText::Decode(file.read(XmlLimits::max_bytes + 1));
}

bool parse(const QString& xml, QDomDocument& document, XmlError& error)
{
    return XmlLimits::Check(xml, error) && QtDifferences::SetContent(document, xml, error);
}

/// Every element from the first "tag" on that has an "id" counts, whatever its name, up to the
/// first sibling that is not an element. Files in the wild rely on it.
QStringList read_tags(const QDomElement& root)
{
    const QString id = QStringLiteral("id");
    QStringList tags;
    for (QDomElement element = root.firstChildElement(QStringLiteral("tag")); !element.isNull();
         element = element.nextSibling().toElement()) {
        if (element.hasAttribute(id))
            tags << element.attribute(id);
    }
    return tags;
}

/// Not a regular expression: that leaves a text with half a surrogate pair as it is.
QString digits_and_dots(const QString& text)
{
    QString result;
    for (const QChar c : text) {
        if (c == QLatin1Char('.') || (c >= QLatin1Char('0') && c <= QLatin1Char('9')))
            result += c;
    }
    return result;
}

void set_if_empty(QString& field, const QString& value)
{
    if (field.isEmpty())
        field = value;
}

} // namespace

QString ModParser::GetParseMetadataResult()
{
    return s_ParseMetadataResult;
}

bool ModParser::validate_metadata_file(QString path, QDomDocument& document)
{
    if (QFileInfo(path).fileName() != QLatin1String("metadata.xml"))
        return fail(translated("Metadata file not named 'metadata.xml'"));

    QFile file(path);
    // Opening a pipe would block until somebody writes.
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly | QIODevice::Text))
        return fail(translated("Failed to open specified metadata file"));

    XmlError error;
    const QString xml = read_text(file);
    if (!parse(XmlText::SplitReferences(xml), document, error)) {
        parse(xml, document, error); // for the column in the file as it is
        return fail_to_parse(error);
    }

    const QString root = QStringLiteral("metadata");
    if (document.firstChildElement(root).isNull()) {
        // The wide gap belongs to the text: it was once the indent of a continued source line.
        return fail(translated("No <%1> tag found in specified metadata file."
                               "                                             "
                               "                                          "
                               "Please see the sample metadata.xml file for reference")
                        .arg(root));
    }
    const QDomElement name =
        document.firstChildElement(root).firstChildElement(QStringLiteral("name"));
    // With Qt 6 the element does not know its place.
    if (name.text().size() > max_name)
        return fail_to_parse({QStringLiteral("the name is too long"), qMax(1, name.lineNumber()),
                              qMax(1, name.columnNumber())});
    return true;
}

bool ModParser::ParseMetadata(QString path, ModDescriptor& descriptor)
{
    QDomDocument document;
    if (!validate_metadata_file(path, document))
        return false;
    // Before any field is touched: a mod that is refused leaves the one that is loaded as it is.
    if (!validate_mod_directory(QFileInfo(path).absolutePath()))
        return false;

    descriptor.folder_path = path.left(path.lastIndexOf(QLatin1Char('/')));
#if defined(Q_OS_WIN)
    // A drive without its slash is the working directory there: Steam would upload its own folder.
    if (descriptor.folder_path.endsWith(QLatin1Char(':')))
        descriptor.folder_path += QLatin1Char('/');
#endif

    const QDomElement root = document.firstChildElement(QStringLiteral("metadata"));
    for (const TextField& field : text_fields)
        descriptor.*field.member = root.firstChildElement(QLatin1String(field.element)).text();
    descriptor.preview_path.clear();
    descriptor.tags = read_tags(root);

    const QString folder_name = path.section(QLatin1Char('/'), -2, -2);
    set_if_empty(descriptor.name, folder_name);
    set_if_empty(descriptor.directory, folder_name);
    set_if_empty(descriptor.version, QStringLiteral("1.0"));
    set_if_empty(descriptor.id, QStringLiteral("0"));
    set_if_empty(descriptor.visibility, QStringLiteral("Public"));

    descriptor.directory = descriptor.directory.toLower();
    // After the default: a version made of letters only ends up empty and stays so.
    descriptor.version = digits_and_dots(descriptor.version);

    RemoveStaleTempFiles(path);
    descriptor.SaveMetadata();
    s_ParseMetadataResult = translated("Success");
    return true;
}
