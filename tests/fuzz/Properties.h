#pragma once

class QByteArray;

/// What holds for every input, however hostile. The fuzzers and the replay of their corpus ask the
/// same. An input that breaks a promise ends the process with a message. They need a
/// QGuiApplication.
namespace Properties {

/// Reads the bytes as a metadata.xml. Refused, it leaves file and record alone and says why; taken,
/// it leaves a file that reads as the same mod again and again. Returns whether it was taken.
bool Metadata(const QByteArray& xml);

/// Decodes the bytes as a preview: an image of bearable size, or none. Returns whether there is one.
bool Preview(const QByteArray& image);

} // namespace Properties
