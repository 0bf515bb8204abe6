#include "Upload.h"

#include "Journal.h"

#include <algorithm>
#include <array>
#include <utility>

namespace practice {

namespace fs = std::filesystem;

namespace {

/// Limits that the Workshop enforces, in bytes.
constexpr std::size_t longest_title = 128;
constexpr std::size_t longest_text = 7999; // 8000 with the terminator
constexpr std::size_t smallest_preview = 16;
constexpr std::size_t preview_limit = std::size_t{1024} * 1024;

/// Whoever removes a folder has all its levels open at once, and systems allow a thousand or so.
constexpr int deepest_folder = 500;
/// A pump holds up the caller's window.
constexpr int most_files_per_pump = 100;

constexpr std::array<const char*, 3> visibilities = {"public", "friends", "private"};

std::string quoted(const fs::path& path)
{
    return Shown(path.u8string());
}

bool starts_with(const std::string& bytes, const std::string& start)
{
    return bytes.compare(0, start.size(), start) == 0;
}

/// PNG, JPEG or GIF by what the file holds, whatever its name.
bool is_image(const std::string& bytes)
{
    return starts_with(bytes, "\x89PNG\r\n\x1a\n") || starts_with(bytes, "\xff\xd8\xff")
           || starts_with(bytes, "GIF87a") || starts_with(bytes, "GIF89a");
}

std::string read_preview(const fs::path& file)
{
    const auto refuse_if = [&file](bool wrong, int result, const std::string& why) {
        if (wrong)
            throw Refusal(result, "the preview " + quoted(file) + " " + why);
    };
    std::error_code error;
    refuse_if(!file.is_absolute() || !fs::is_regular_file(file, error), result_not_found,
              "is not the full path of a file");
    const auto size = fs::file_size(file, error);
    refuse_if(!error && size >= preview_limit, result_too_large,
              "has " + std::to_string(size) + " bytes, and must have less than 1 MiB");
    auto bytes = FileBytes(file);
    refuse_if(error || !bytes, result_not_found, "cannot be read");
    refuse_if(bytes->size() < smallest_preview, result_not_acceptable, "has less than 16 bytes");
    refuse_if(!is_image(*bytes), result_not_found, "is not PNG, JPEG or GIF");
    return std::move(*bytes);
}

void check_length(const char* what, const std::string& text, std::size_t longest)
{
    if (text.size() > longest) {
        throw Refusal(result_not_acceptable, std::string(what) + " has "
                                                 + std::to_string(text.size()) + " bytes, at most "
                                                 + std::to_string(longest) + " are accepted");
    }
}

} // namespace

Upload::Upload(const Store& the_store, const Script& the_script, std::uint32_t app_of_the_program,
               UpdateFields wanted)
    : store(the_store), script(the_script), program_app_id(app_of_the_program),
      fields(std::move(wanted))
{
    phases = {{1, &Upload::check_fields}, {2, &Upload::list_content}, {3, &Upload::copy_content}};
    if (!fields.values.value("preview", "").empty()) // without a path the item keeps its preview
        phases.push_back({4, &Upload::write_preview});
    phases.push_back({5, &Upload::write_item});
    phases.push_back({5, &Upload::publish});
    progress.status = 1;
}

bool Upload::Step()
{
    const Phase& phase = phases.at(current_phase);
    progress = {phase.status, 0, 0}; // stays to be seen until the next pump
    if ((this->*phase.step)())
        ++current_phase;
    return current_phase == phases.size();
}

Json Upload::item_of_the_program() const
{
    const std::optional<Json> found = store.Item(fields.item);
    if (!found)
        throw Refusal(result_not_found, "there is no such item");
    if (found->value("app_id", 0U) != program_app_id)
        throw Refusal(result_not_acceptable, "the item belongs to another app");
    if (found->value("owner", "") != script.owner)
        throw Refusal(result_not_allowed, "the item belongs to another account");
    return *found;
}

bool Upload::check_fields()
{
    item_of_the_program();
    version = store.Update(fields.item);
    if (version == nullptr)
        throw Refusal(result_already_running, "another update of the item is running");
    item = item_of_the_program(); // as the update before this one has left it
    check_length("the title", fields.values.value("title", ""), longest_title);
    check_length("the description", fields.values.value("description", ""), longest_text);
    check_length("the change note", fields.change_note, longest_text);
    const auto visibility = fields.values.find("visibility");
    if (visibility != fields.values.end())
        *visibility = visibilities.at(visibility->get<std::size_t>());
    const fs::path preview = fs::u8path(fields.values.value("preview", ""));
    if (!preview.empty())
        new_preview = read_preview(preview);
    return true;
}

bool Upload::list_content()
{
    const fs::path root = fs::u8path(fields.values.value("content", ""));
    const auto refuse = [&root](int result, const std::string& why) {
        throw Refusal(result, "the content folder " + quoted(root) + " " + why);
    };
    std::error_code error;
    if (!root.is_absolute() || !fs::is_directory(root, error))
        refuse(result_not_found, "is not the full path of a folder");
    fs::create_directories(version->Folder() / "content");
    for (fs::recursive_directory_iterator at(root), end; at != end; ++at) {
        if (at.depth() > deepest_folder) {
            refuse(result_not_acceptable, "has folders within folders, more than "
                                              + std::to_string(deepest_folder) + " deep");
        }
        list_entry(root, *at);
    }
    if (files.empty())
        refuse(result_not_found, "holds no file");
    std::sort(files.begin(), files.end(),
              [](const ContentFile& a, const ContentFile& b) { return a.name < b.name; });
    return true;
}

void Upload::list_entry(const fs::path& root, const fs::directory_entry& entry)
{
    const fs::path name = entry.path().lexically_relative(root);
    std::error_code error;
    if (entry.is_regular_file(error)) {
        files.push_back({name, entry.file_size(error)});
        content_bytes += files.back().size;
    } else if (entry.is_directory(error) && !entry.is_symlink(error)) {
        fs::create_directories(version->Folder() / "content" / name);
    } else {
        // Links to folders could lead round in a circle; sockets and the like cannot be copied.
        Note("left out of the content: " + quoted(name));
    }
}

bool Upload::copy_content()
{
    auto budget = static_cast<std::uint64_t>(script.bytes_per_pump);
    int left_of_files = most_files_per_pump;
    while (current_file < files.size() && budget > 0 && left_of_files-- > 0) {
        copy_part(files[current_file], budget);
        current_file += in.is_open() ? 0 : 1;
    }
    progress.done = copied_bytes;
    progress.total = content_bytes;
    return current_file == files.size();
}

/// Closes the file when it is through.
void Upload::copy_part(const ContentFile& file, std::uint64_t& budget)
{
    const auto refuse = [&file](int result, const std::string& why) {
        throw Refusal(result, "the content file " + quoted(file.name) + " " + why);
    };
    if (!in.is_open()) {
        in = OpenFile(fs::u8path(fields.values.value("content", "")) / file.name);
        if (!in.is_open())
            refuse(result_not_found, "cannot be read");
        out = std::ofstream(version->Folder() / "content" / file.name, std::ios::binary);
        copied_of_file = 0;
    }
    std::array<char, 65536> buffer = {};
    while (budget > 0 && copied_of_file < file.size) {
        const auto wanted =
            std::min<std::uint64_t>({budget, file.size - copied_of_file, buffer.size()});
        in.read(buffer.data(), static_cast<std::streamsize>(wanted));
        if (!in)
            refuse(result_failure, "shrank while it was uploaded");
        out.write(buffer.data(), static_cast<std::streamsize>(wanted));
        budget -= wanted;
        copied_of_file += wanted;
        copied_bytes += wanted;
    }
    if (copied_of_file < file.size)
        return;
    if (in.peek() != std::ifstream::traits_type::eof())
        refuse(result_failure, "grew while it was uploaded");
    in.close();
    out.close();
    if (!out)
        refuse(result_failure, "cannot be written into the store");
}

bool Upload::write_preview()
{
    WriteFile(version->Folder() / "preview", new_preview);
    return true;
}

bool Upload::write_item()
{
    const fs::path former = store.ItemFolder(fields.item);
    for (const char* key : {"title", "description", "visibility", "tags", "metadata"})
        if (fields.values.contains(key))
            item[key] = fields.values[key];
    item["updated"] = TimeText();
    Json history = Json::parse(FileBytes(former / "history.json").value_or(""));
    history.push_back({{"version", history.size() + 1},
                       {"time", item["updated"]},
                       {"change_note", fields.change_note},
                       {"title", item["title"]},
                       {"bytes", content_bytes},
                       {"files", files.size()}});
    WriteJson(version->Folder() / "item.json", item);
    WriteJson(version->Folder() / "history.json", history);
    const fs::path preview = version->Folder() / "preview";
    if (!fs::exists(preview) && fs::exists(former / "preview"))
        fs::copy(former / "preview", preview);
    return true;
}

bool Upload::publish()
{
    version->Publish();
    return true;
}

} // namespace practice
