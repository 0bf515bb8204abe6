#include "metadata/XmlLimits.h"

#include <QXmlSimpleReader>

// The document is built with this very parser, deprecated as it is; any other would see another
// document.
QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED

namespace {

constexpr int max_depth = 1000; // real files have two levels
constexpr int max_elements = 1'000'000;
constexpr qint64 max_characters = XmlLimits::max_bytes;
/// For one tag. The parser compares each of its attributes with all the others.
constexpr int max_attributes = 10'000;

/// Whether any tag may have more attributes than allowed. Counts what can only be the start of a
/// value between one tag and the next.
bool has_too_many_attributes(const QString& xml)
{
    int values = 0;
    bool after_equals = false;
    for (const QChar character : xml) {
        const char c = character.toLatin1();
        if (c == '<')
            values = 0;
        else if (c == '=')
            after_equals = true;
        else if (after_equals && (c == '"' || c == '\''))
            ++values;
        // Blanks may stand before the quote.
        after_equals =
            after_equals && (c == '=' || c == ' ' || c == '\t' || c == '\n' || c == '\r');
        if (values > max_attributes)
            return true;
    }
    return false;
}

/// Follows the parser, counts, and stops it when a limit is passed.
class Counter final : public QXmlDefaultHandler
{
public:
    QString message;
    int line = 0;
    int column = 0;

    explicit Counter(const QString& xml)
        : references(xml.count(QLatin1Char('&')) + xml.count(QLatin1Char('%')))
    {}

    void setDocumentLocator(QXmlLocator* new_locator) override { locator = new_locator; }

    bool startElement(const QString&, const QString&, const QString&,
                      const QXmlAttributes&) override
    {
        if (++depth > max_depth)
            return stop(QStringLiteral("elements are nested too deeply"));
        if (++elements > max_elements)
            return stop(QStringLiteral("there are too many elements"));
        return true;
    }

    bool endElement(const QString&, const QString&, const QString&) override
    {
        --depth;
        return true;
    }

    bool internalEntityDecl(const QString&, const QString& value) override
    {
        // As if every reference in the file were to this one.
        return value.size() * references <= max_characters
               || stop(QStringLiteral("an entity expands to too much text"));
    }

private:
    bool stop(const QString& reason)
    {
        message = reason;
        line = locator->lineNumber();
        column = locator->columnNumber();
        return false;
    }

    QXmlLocator* locator = nullptr;
    int depth = 0;
    int elements = 0;
    qint64 references = 0;
};

} // namespace

bool XmlLimits::Check(const QString& xml, QString& message, int& line, int& column)
{
    line = 1;
    column = 1;
    if (xml.size() > XmlLimits::max_bytes) {
        message = QStringLiteral("the file is too large");
        return false;
    }
    if (has_too_many_attributes(xml)) {
        message = QStringLiteral("an element has too many attributes");
        return false;
    }

    Counter counter(xml);
    QXmlInputSource source;
    source.setData(xml);
    QXmlSimpleReader reader;
    reader.setContentHandler(&counter);
    reader.setDeclHandler(&counter);
    reader.parse(source);
    if (counter.message.isEmpty())
        return true;
    message = counter.message;
    line = counter.line;
    column = counter.column;
    return false;
}

QT_WARNING_POP
