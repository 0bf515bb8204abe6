#pragma once

#include "Script.h"
#include "Store.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace practice {

// The phases that the caller sees, by the numbers it knows them by.
enum class UploadStatus {
    Invalid = 0,
    PreparingConfig = 1,
    PreparingContent = 2,
    UploadingContent = 3,
    UploadingPreview = 4,
    Committing = 5
};

struct Progress
{
    UploadStatus status = UploadStatus::Invalid;
    std::uint64_t done = 0;
    std::uint64_t total = 0;
};

// What the caller wants changed; a field that was never set keeps its former value.
struct UpdateFields
{
    std::uint32_t app_id = 0;
    std::uint64_t item = 0;
    std::optional<std::string> title;
    std::optional<std::string> description;
    std::optional<std::string> metadata;
    std::optional<int> visibility;
    std::optional<std::vector<std::string>> tags;
    std::optional<std::string> content;
    std::optional<std::string> preview;
    std::string change_note;
};

// One update on its way into the store, a step for each pump. Destroying it takes back what is not
// in the item's place yet.
class Upload
{
public:
    // The store and the script must outlive it.
    Upload(const Store& the_store, const Script& the_script, std::uint32_t app_of_the_program,
           UpdateFields wanted);
    ~Upload();
    Upload(const Upload&) = delete;
    Upload& operator=(const Upload&) = delete;

    // The result code when the update is through. The reason of a failure goes to the store's log.
    std::optional<int> Step();

    const Progress& Seen() const { return progress; }

private:
    struct ContentFile
    {
        std::filesystem::path name; // below the content folder
        std::uint64_t size = 0;
    };

    void TakeBack();
    std::optional<int> TakeStep();
    void CheckFields() const;
    void CheckItem();
    void ListContent();
    void ListEntry(const std::filesystem::path& root,
                   const std::filesystem::directory_entry& entry);
    void CopyContent();
    void OpenFile(const ContentFile& file);
    void CloseFile(const ContentFile& file);
    void CopyPart(const ContentFile& file, std::uint64_t& budget);
    void StagePreview() const;
    void StageDescription() const;
    bool NewPreview() const;
    UploadStatus AfterConfig() const;
    UploadStatus AfterContent() const;

    const Store& store;
    const Script& script;
    std::uint32_t program_app_id;
    UpdateFields fields;

    std::unique_ptr<FileLock> lock;
    Progress progress;
    UploadStatus next = UploadStatus::PreparingConfig;
    bool staged = false;

    std::vector<ContentFile> files;
    std::size_t current_file = 0;
    std::uint64_t content_bytes = 0;
    std::uint64_t copied_bytes = 0;
    std::uint64_t copied_of_file = 0;
    std::ifstream in;
    std::ofstream out;
};

} // namespace practice
