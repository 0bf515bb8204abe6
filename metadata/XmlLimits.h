#pragma once

class QString;
struct XmlError;

/// Rejects malicious XML before the DOM is built.
namespace XmlLimits {

/// Characters of texts, of attributes and their names, and of entities where they are declared and
/// where they are used. Steam takes a description of 8000 bytes; this much Chinese in one line
/// keeps the editor busy for a third of a second.
constexpr int max_text = 32 * 1024;

/// Characters of a file, markup included. The writer takes up to six for one of a text, and must be
/// able to store whatever was read.
constexpr int max_characters = 7 * max_text;

/// Of such a file: no encoding takes more than four for a character.
constexpr int max_bytes = 4 * max_characters;

/// Whether `xml` is small enough to be built into a document. Returns false and sets `error` as
/// the parser does; XML that is not well-formed is left to the parser.
bool Check(const QString& xml, XmlError& error);

} // namespace XmlLimits
