#include "XmlText.h"

#include <QByteArray>
#include <QString>
#include <QXmlInputSource>

#include <charconv>
#include <string>
#include <string_view>
#include <system_error>

namespace {

constexpr auto npos = std::u16string_view::npos;

/// In these "&" does not begin a reference.
constexpr std::u16string_view sections[][2] = {
    {u"<!--", u"-->"}, {u"<![CDATA[", u"]]>"}, {u"<?", u"?>"}};

/// The end of the comment, CDATA section or processing instruction that begins at `start`; `start`
/// if none does.
std::size_t end_of_section(std::u16string_view xml, std::size_t start)
{
    for (const auto& [opening, closing] : sections) {
        if (xml.substr(start, opening.size()) == opening)
            return xml.find(closing, start + opening.size());
    }
    return start;
}

} // namespace

// Only this class knows the encodings that the parser knows.
QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED

QString XmlText::Decode(const QByteArray& xml)
{
    QXmlInputSource source;
    source.setData(xml);
    return source.data();
}

QT_WARNING_POP

QString XmlText::SplitReferences(const QString& xml)
{
    const std::u16string text = xml.toStdU16String();
    const std::string ascii = xml.toLatin1().toStdString(); // same positions; for std::from_chars
    const char* const end = ascii.data() + ascii.size();
    QString result;
    std::size_t copied = 0;
    const auto copy_up_to = [&](std::size_t position) {
        result += QString::fromStdU16String(text.substr(copied, position - copied));
    };
    for (std::size_t at = 0; (at = text.find_first_of(u"<&", at)) != npos; ++at) {
        at = end_of_section(text, at);
        if (at == npos)
            break;
        if (text.compare(at, 2, u"&#") != 0)
            continue;
        const bool is_hex = text.compare(at + 2, 1, u"x") == 0;
        unsigned code = 0;
        const auto [after, error] =
            std::from_chars(ascii.data() + at + (is_hex ? 3 : 2), end, code, is_hex ? 16 : 10);
        if (error != std::errc() || after == end || *after != ';' || code <= 0xFFFF
            || code > QChar::LastValidCodePoint)
            continue;
        copy_up_to(at);
        result += QStringLiteral("&#%1;&#%2;")
                      .arg(QChar::highSurrogate(code))
                      .arg(QChar::lowSurrogate(code));
        copied = static_cast<std::size_t>(after - ascii.data()) + 1;
    }
    copy_up_to(npos);
    return result;
}
