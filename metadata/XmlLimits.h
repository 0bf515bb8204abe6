#pragma once

#include <QString>

/// Keeps XML that is made to hurt away from the DOM: its memory grows with what entities expand to,
/// and it takes a nested document apart by recursion until the stack is used up.
namespace XmlLimits {

/// Real metadata files have a few kilobytes; Steam itself takes 5000 bytes of one.
constexpr int max_bytes = 16 * 1024 * 1024;

/// Whether `xml` is small enough to be built into a document. Returns false and sets `message`,
/// `line` and `column` as the parser does for an error; not well-formed XML is left to the parser.
bool Check(const QString& xml, QString& message, int& line, int& column);

} // namespace XmlLimits
