#pragma once

class QByteArray;
class QString;

namespace XmlText {

/// The text of an XML file, in the encoding that the file names.
QString Decode(const QByteArray& xml);

/// `xml` with each numeric reference above U+FFFF replaced by those to its two surrogates. The
/// parser keeps 16 bits of a number, so that it would read another character.
QString SplitReferences(const QString& xml);

} // namespace XmlText
