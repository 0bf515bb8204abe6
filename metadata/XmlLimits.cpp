#include "XmlLimits.h"

#include "XmlError.h"

#include <QHash>
#include <QXmlSimpleReader>

// The document is built with this very parser, deprecated as it is; any other would see another
// document.
QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED

namespace {

const QString too_many_parts =
    QStringLiteral("there are too many elements, attributes or declarations");

/// Elements, attributes and declarations. The file of 5000 bytes that Steam takes has room for some
/// 250 tags, with an attribute each. Elements nest, and at the end of each the parser compares all
/// namespaces with one another: its time grows with the third power of this number.
constexpr int max_parts = 600;

/// Follows the parser, counts, and stops it when a limit is passed.
class Counter final : public QXmlDefaultHandler
{
public:
    XmlError error;

    explicit Counter(const QString& xml)
    {
        if (xml.size() > XmlLimits::max_characters)
            error.message = QStringLiteral("the file is too large");
        // Parentheses nest in declarations, which the parser takes apart by recursion.
        else if (xml.contains(QLatin1String("<!DOCTYPE"))
                 && xml.count(QLatin1Char('(')) > max_parts)
            error.message = too_many_parts;
    }

    void setDocumentLocator(QXmlLocator* new_locator) override { locator = new_locator; }

    bool startElement(const QString&, const QString&, const QString&,
                      const QXmlAttributes& attributes) override
    {
        for (int i = 0; i < attributes.length(); ++i)
            text += attributes.qName(i).size() + attributes.value(i).size();
        return count(1 + attributes.length());
    }

    bool characters(const QString& content) override
    {
        text += content.size();
        return count(0);
    }

    bool internalEntityDecl(const QString& name, const QString& value) override
    {
        // A parameter entity is declared as "%name" and used as "name".
        sizes.insert(name.startsWith(QLatin1Char('%')) ? name.mid(1) : name, value.size());
        text += value.size();
        return count(1 + static_cast<int>(value.count(QLatin1Char('('))));
    }

    bool startEntity(const QString& name) override
    {
        text += sizes.value(name);
        return count(0);
    }

private:
    bool count(int new_parts)
    {
        parts += new_parts;
        if (parts > max_parts)
            return stop(too_many_parts);
        return text <= XmlLimits::max_text || stop(QStringLiteral("there is too much text"));
    }

    bool stop(const QString& reason)
    {
        error = {reason, locator->lineNumber(), locator->columnNumber()};
        return false;
    }

    QXmlLocator* locator = nullptr;
    QHash<QString, qint64> sizes; // of entities
    qint64 text = 0;
    int parts = 0;
};

} // namespace

bool XmlLimits::Check(const QString& xml, XmlError& error)
{
    Counter counter(xml);
    if (counter.error.message.isEmpty()) {
        QXmlInputSource source;
        source.setData(xml);
        QXmlSimpleReader reader;
        reader.setFeature(
            QStringLiteral("http://trolltech.com/xml/features/report-start-end-entity"), true);
        // A namespace is then an attribute like any other.
        reader.setFeature(QStringLiteral("http://xml.org/sax/features/namespaces"), false);
        reader.setContentHandler(&counter);
        reader.setDeclHandler(&counter);
        reader.setLexicalHandler(&counter);
        reader.parse(source);
    }
    if (counter.error.message.isEmpty())
        return true;
    error = counter.error;
    return false;
}

QT_WARNING_POP
