#pragma once

class QDomDocument;
class QString;
class QTextStream;
struct XmlError;

/// The places where Qt 5 and Qt 6 must be treated differently for the program to behave the same.
/// The only ones: all other sources are right for both.
namespace QtDifferences {

/// Lets the program follow the scale of the screen. To be called before the application is made.
void FollowScale();

/// Makes `stream` read UTF-8, whatever the locale.
void ReadUtf8(QTextStream& stream);

/// Builds `document` from `xml`, with namespaces. Returns false for XML that is not well-formed,
/// and sets `error`.
bool SetContent(QDomDocument& document, const QString& xml, XmlError& error);

} // namespace QtDifferences
