#pragma once

class QByteArray;
class QString;

/// Replaces the content of the file at `path` atomically: when there is no space or the process is
/// killed, the old content is still there. A file that already has the content is not written.
/// Follows links and keeps the permissions. Where there is no space for a temporary file, or it
/// cannot replace the old one, the old file is overwritten in place if it has the space; only then
/// a kill at that moment can damage it.
///
/// The file keeps another content when it is read-only, its folder is missing, or there is no
/// space. Two programs may write the same file at once; the later one wins. Not thread-safe.
void WriteFileAtomically(const QString& path, const QByteArray& content);

/// Removes the temporary files that are left beside `path` when a program was killed in
/// WriteFileAtomically. Lists the folder. A program that is just writing keeps the old file.
void RemoveStaleTempFiles(const QString& path);
