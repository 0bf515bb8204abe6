#include "QtDifferences.h"

#include "XmlError.h"

#include <QtGlobal>

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)

#include <QCoreApplication>
#include <QDomDocument>
#include <QTextStream>

void QtDifferences::FollowScale()
{
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
}

void QtDifferences::ReadUtf8(QTextStream& stream)
{
    stream.setCodec("UTF-8");
}

bool QtDifferences::SetContent(QDomDocument& document, const QString& xml, XmlError& error)
{
    return document.setContent(xml, true, &error.message, &error.line, &error.column);
}

#else

#include <QDomDocument>
#include <QXmlDefaultHandler>
#include <QXmlSimpleReader>

namespace {

/// Builds a document from what the parser reports, as the DOM of Qt 5 does. But it leaves out
/// unknown entities between other nodes: the parser does not tell them from those in an attribute.
class Builder final : public QXmlDefaultHandler
{
public:
    XmlError error;

    explicit Builder(const QDomDocument& new_document)
        : document(new_document), parent(new_document)
    {}

    bool startElement(const QString& space, const QString&, const QString& name,
                      const QXmlAttributes& attributes) override
    {
        QDomElement element = document.createElementNS(space, name);
        if (element.isNull()) // no local name
            return false;
        for (int i = 0; i < attributes.length(); ++i)
            element.setAttributeNS(attributes.uri(i), attributes.qName(i), attributes.value(i));
        parent = parent.appendChild(element);
        return true;
    }

    bool endElement(const QString&, const QString&, const QString&) override
    {
        if (parent.isDocument())
            return false;
        parent = parent.parentNode();
        return true;
    }

    bool characters(const QString& text) override
    {
        return !parent.isDocument() && append(document.createTextNode(text));
    }

    bool comment(const QString& text) override { return append(document.createComment(text)); }

    bool processingInstruction(const QString& target, const QString& data) override
    {
        return append(document.createProcessingInstruction(target, data));
    }

    bool fatalError(const QXmlParseException& fatal) override
    {
        error = {fatal.message(), fatal.lineNumber(), fatal.columnNumber()};
        return false;
    }

private:
    bool append(const QDomNode& node)
    {
        parent.appendChild(node);
        return true;
    }

    QDomDocument document;
    QDomNode parent; // of what comes next
};

} // namespace

void QtDifferences::FollowScale()
{} // unasked

void QtDifferences::ReadUtf8(QTextStream&)
{} // unasked

/// The DOM of Qt 6 has another parser, which refuses what players' files may hold: an unknown
/// entity, a single byte that is no UTF-8. The parser of Qt 5 is in the module for compatibility.
bool QtDifferences::SetContent(QDomDocument& document, const QString& xml, XmlError& error)
{
    document = QDomDocument(QString()); // without a name it would be null and take no children
    Builder builder(document);
    QXmlInputSource source;
    source.setData(xml);
    QXmlSimpleReader reader;
    // White space between elements is no text.
    reader.setFeature(
        QStringLiteral("http://trolltech.com/xml/features/report-whitespace-only-CharData"), false);
    reader.setContentHandler(&builder);
    reader.setLexicalHandler(&builder);
    reader.setErrorHandler(&builder);
    if (reader.parse(source))
        return true;
    error = builder.error;
    return false;
}

#endif
