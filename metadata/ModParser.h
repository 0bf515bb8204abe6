#pragma once

#include <QString>
#include <QStringList>

class QDomDocument;

/// A mod's metadata: the record in memory, the file "metadata.xml", and the check of the mod
/// folder. GUI thread only.
namespace ModParser {

/// One mod. A plain value; a default-constructed one has every text empty and no tags.
struct ModDescriptor
{
    /// Title of the mod.
    QString name;
    /// Folder name of the mod; lower-case after a read.
    QString directory;
    /// Workshop item id as decimal text of an unsigned 64-bit number; "0" while there is no item.
    QString id;
    QString description;
    /// Digits and dots after a read, for example "1.0".
    QString version;
    /// Workshop tags in file order; duplicates are kept.
    QStringList tags;
    /// Folder that holds "metadata.xml", without a trailing "/"; never stored.
    QString folder_path;
    /// Preview picture chosen while the program runs, otherwise empty; never stored.
    QString preview_path;
    /// "Public", "Friends Only" or "Private" as the program writes it; readers ignore the case.
    QString visibility;

    /// Writes "metadata.xml" in `folder_path` atomically and notifies the main window. A failure is
    /// not reported: the file stays as it was, and the window is notified too.
    void SaveMetadata() const;

    /// The content that `SaveMetadata` gives the file.
    QByteArray ToXml() const;

    /// Raises the last number of `version` by one. Does not save.
    void IncrementVersion();
    /// Lowers the last number of `version` by one, but not below 0. Does not save.
    void DecrementVersion();

    /// Adds `delta` to the number after the last "." of `version`; text that is no number counts as
    /// 0, and the sum is at least 0. A version without a "." is replaced by the one character whose
    /// Latin-1 code is the low byte of the sum, so "3" plus 1 is U+0004.
    void modify_version(int delta);
};

/// The outcome of the last read or folder check: "Success" or the reason of the failure, which may
/// hold HTML. Empty before the first.
extern QString s_ParseMetadataResult;

/// A copy of `s_ParseMetadataResult`.
QString GetParseMetadataResult();

/// Reads the file at `path` (absolute, "/" separators) into `descriptor`, fills in what is missing
/// and writes the file back in its normal form.
///
/// Returns false when the file or its folder is not acceptable; the reason is then in
/// `s_ParseMetadataResult`, and neither the descriptor nor the file has changed.
bool ParseMetadata(QString path, ModDescriptor& descriptor);

/// Reads the file at `path` into `document` if it is named "metadata.xml", is well-formed XML and
/// has a top-level element "metadata". Returns false and sets `s_ParseMetadataResult` otherwise.
bool validate_metadata_file(QString path, QDomDocument& document);

/// Checks the descriptor's folder for files that must not be published. Returns false when there is
/// one; `s_ParseMetadataResult` then lists all of them as HTML. On true it is left as it was.
bool ValidateModDirectory(const ModDescriptor& descriptor);

/// As `ValidateModDirectory`, for the folder at path `folder`. A folder that does not exist or
/// cannot be read holds nothing and passes.
bool validate_mod_directory(QString folder);

} // namespace ModParser
