#pragma once

class QByteArray;
class QString;

/// Replaces the file at `path` by one with this content, whole or not at all: when there is no room
/// or the process is killed, the old file is still there. Leaves a file alone that has this content
/// already. Goes through a link to the file behind it and keeps the permissions. Where there is no
/// room for a new file, or it cannot take the place of the old one, the old file itself is written
/// if it has the room; only then a kill in that moment can damage it.
///
/// Returns false when the file keeps another content: it is read-only, its folder is missing, there
/// is no room. Two programs may write the same file at once; the later one wins. Not for several
/// threads.
bool WriteFileAtomically(const QString& path, const QByteArray& content);

/// Removes the hidden files that programs have left beside `path` when they were killed in the
/// middle of WriteFileAtomically. It lists the folder. A program that is just writing keeps the old
/// file.
void RemoveStaleTempFiles(const QString& path);
