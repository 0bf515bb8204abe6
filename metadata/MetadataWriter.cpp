#include "ModParser.h"

#include "AtomicFile.h"
#include "MainWindow.h"
#include "TextFields.h"
#include "XmlError.h"
#include "XmlLimits.h"

#include <QCoreApplication>
#include <QXmlStreamWriter>

#include <algorithm>

namespace {

bool is_xml_character(QChar c)
{
    if (c < QLatin1Char(' '))
        return c == QLatin1Char('\t') || c == QLatin1Char('\n') || c == QLatin1Char('\r');
    return !c.isSurrogate() && c < QChar(0xFFFE);
}

/// `text` without the characters that XML 1.0 cannot carry, not even escaped: they would make a
/// file that can never be read again.
QString storable(const QString& text)
{
    QString result;
    result.reserve(text.size());
    for (int i = 0; i < text.size(); ++i) {
        const bool is_pair =
            text.at(i).isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate();
        if (is_pair)
            result += text.at(i++);
        if (is_pair || is_xml_character(text.at(i)))
            result += text.at(i);
    }
    return result;
}

} // namespace

QByteArray ModParser::ModDescriptor::ToXml() const
{
    QByteArray document;
    QXmlStreamWriter xml(&document);
    xml.setAutoFormatting(true);
    xml.writeStartDocument();
    xml.writeStartElement(QStringLiteral("metadata"));
    for (const TextField& field : text_fields)
        xml.writeTextElement(QLatin1String(field.element), storable(this->*field.member));
    for (const QString& tag : tags) {
        xml.writeEmptyElement(QStringLiteral("tag"));
        xml.writeAttribute(QStringLiteral("id"), storable(tag));
    }
    xml.writeEndElement();
    xml.writeEndDocument();
    return document;
}

namespace {

void save(const ModParser::ModDescriptor& mod)
{
    const QString format = QCoreApplication::translate("", "%1/%2");
    const QByteArray document = mod.ToXml();
    // A description from the window may be of any length. A file that the reader refuses would be
    // the end of the mod, so what is there stays.
    XmlError error;
    if (!XmlLimits::Check(QString::fromUtf8(document), error))
        return;
    WriteFileAtomically(format.arg(mod.folder_path, QStringLiteral("metadata.xml")), document);
}

} // namespace

void ModParser::ModDescriptor::SaveMetadata() const
{
    // No folder is not the root of the disk.
    if (!folder_path.isEmpty())
        save(*this);
    if (MainWindow* window = MainWindow::GetWindow())
        window->NotifyMetadataUpdated();
}

void ModParser::ModDescriptor::IncrementVersion()
{
    modify_version(+1);
}

void ModParser::ModDescriptor::DecrementVersion()
{
    modify_version(-1);
}

void ModParser::ModDescriptor::modify_version(int delta)
{
    const auto dot = version.lastIndexOf(QLatin1Char('.'));
    const qint64 number = version.mid(dot + 1).toInt(); // 0 when it is no number
    const qint64 changed = std::max<qint64>(0, number + delta);
    if (dot >= 0)
        version = version.left(dot + 1) + QString::number(changed);
    else
        version = QChar::fromLatin1(static_cast<char>(changed & 0xFF));
}
