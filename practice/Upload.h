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

/// How far an update is, in the numbers that its caller knows.
struct Progress
{
    int status = 0;
    std::uint64_t done = 0;
    std::uint64_t total = 0;
};

/// What the caller wants changed; a field that was never set keeps its former value, but the
/// content has to be sent each time.
struct UpdateFields
{
    std::uint64_t item = 0;
    /// By their names in item.json, the visibility as a number, and the paths "content" and
    /// "preview".
    Json values = Json::object();
    std::string change_note;
};

/// One update on its way into the store, a step for each pump. Destroying it takes back what is not
/// in the item's place yet.
class Upload
{
public:
    /// The store and the script must outlive it.
    Upload(const Store& the_store, const Script& the_script, std::uint32_t app_of_the_program,
           UpdateFields wanted);

    /// True when the update is through; throws what went wrong.
    bool Step();

    const Progress& Seen() const { return progress; }

private:
    struct Phase
    {
        int status;
        bool (Upload::*step)(); // true when the phase is over
    };

    struct ContentFile
    {
        std::filesystem::path name; // below the content folder
        std::uint64_t size = 0;
    };

    bool check_fields();
    bool list_content();
    void list_entry(const std::filesystem::path& root,
                    const std::filesystem::directory_entry& entry);
    bool copy_content();
    void copy_part(const ContentFile& file, std::uint64_t& budget);
    bool write_preview();
    bool write_item();
    bool publish();
    Json item_of_the_program() const;

    const Store& store;
    const Script& script;
    std::uint32_t program_app_id;
    UpdateFields fields;

    std::vector<Phase> phases;
    std::size_t current_phase = 0;
    Progress progress;

    std::unique_ptr<NextVersion> version;
    Json item;
    std::string new_preview;
    std::vector<ContentFile> files;
    std::size_t current_file = 0;
    std::uint64_t content_bytes = 0;
    std::uint64_t copied_bytes = 0;
    std::uint64_t copied_of_file = 0;
    std::ifstream in; // closed before the version goes: Windows does not remove files that are open
    std::ofstream out;
};

} // namespace practice
