#include "Upload.h"

#include "Journal.h"

#include <algorithm>
#include <array>
#include <utility>

namespace practice {

namespace fs = std::filesystem;

namespace {

// Limits that the Workshop enforces, in bytes.
constexpr std::size_t kLongestTitle = 128;
constexpr std::size_t kLongestText = 7999; // 8000 with the terminator
constexpr std::size_t kSmallestPreview = 16;
constexpr std::size_t kPreviewTooLarge = std::size_t{1024} * 1024;

// Whoever removes a folder has all its levels open at once, and systems allow a thousand or so.
constexpr int kDeepestFolder = 500;
// A pump holds up the caller's window.
constexpr int kMostFilesPerPump = 1000;

constexpr std::array<const char*, 4> kVisibilities = {"public", "friends", "private", "unlisted"};

std::string Name(const fs::path& path)
{
    return Shown(path.u8string());
}

bool StartsWith(const std::string& bytes, const std::string& start)
{
    return bytes.compare(0, start.size(), start) == 0;
}

// PNG, JPEG or GIF by what the file holds, whatever its name.
bool IsImage(const std::string& bytes)
{
    return StartsWith(bytes, "\x89PNG\r\n\x1a\n") || StartsWith(bytes, "\xff\xd8\xff")
           || StartsWith(bytes, "GIF87a") || StartsWith(bytes, "GIF89a");
}

std::string ReadPreview(const fs::path& file)
{
    const auto refuse_if = [&file](bool wrong, int result, const std::string& why) {
        if (wrong)
            throw Refusal(result, "the preview " + Name(file) + " " + why);
    };
    std::error_code error;
    refuse_if(!file.is_absolute() || !fs::is_regular_file(file, error), kNotFound,
              "is not the full path of a file");
    const auto size = fs::file_size(file, error);
    refuse_if(!error && size >= kPreviewTooLarge, kTooLarge,
              "has " + std::to_string(size) + " bytes, and must have less than 1 MiB");
    auto bytes = FileBytes(file);
    refuse_if(error || !bytes, kNotFound, "cannot be read");
    refuse_if(bytes->size() < kSmallestPreview, kNotAcceptable, "has less than 16 bytes");
    refuse_if(!IsImage(*bytes), kNotFound, "is not PNG, JPEG or GIF");
    return std::move(*bytes);
}

void CheckLength(const char* what, const std::string& text, std::size_t longest)
{
    if (text.size() > longest) {
        throw Refusal(kNotAcceptable, std::string(what) + " has " + std::to_string(text.size())
                                          + " bytes, at most " + std::to_string(longest)
                                          + " are accepted");
    }
}

} // namespace

Upload::Upload(const Store& the_store, const Script& the_script, std::uint32_t app_of_the_program,
               UpdateFields wanted)
    : store(the_store), script(the_script), program_app_id(app_of_the_program),
      fields(std::move(wanted))
{
    phases = {{1, &Upload::CheckFields}};
    if (fields.values.contains("content")) {
        phases.push_back({2, &Upload::ListContent});
        phases.push_back({3, &Upload::CopyContent});
    }
    phases.push_back({4, &Upload::WritePreview});
    phases.push_back({5, &Upload::WriteItem});
    phases.push_back({5, &Upload::Publish});
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

Json Upload::ItemOfTheProgram() const
{
    const std::string program = std::to_string(program_app_id);
    if (fields.app_id != program_app_id) {
        throw Refusal(kNotAcceptable, "the update is for app " + std::to_string(fields.app_id)
                                          + ", the program runs as app " + program);
    }
    const std::optional<Json> found = store.Item(fields.item);
    if (!found)
        throw Refusal(kNotFound, "there is no such item");
    if (found->value("app_id", 0U) != program_app_id)
        throw Refusal(kNotAcceptable, "the item belongs to another app");
    if (found->value("owner", "") != script.owner)
        throw Refusal(kNotAllowed, "the item belongs to another account");
    return *found;
}

bool Upload::CheckFields()
{
    ItemOfTheProgram();
    version = store.Update(fields.item);
    if (version == nullptr)
        throw Refusal(kAlreadyRunning, "another update of the item is running");
    item = ItemOfTheProgram(); // as the update before this one has left it
    CheckLength("the title", fields.values.value("title", ""), kLongestTitle);
    CheckLength("the description", fields.values.value("description", ""), kLongestText);
    CheckLength("the change note", fields.change_note, kLongestText);
    const auto visibility = fields.values.find("visibility");
    if (visibility != fields.values.end()) {
        if (*visibility < 0 || *visibility >= kVisibilities.size())
            throw Refusal(kNotAcceptable, "there is no visibility " + Shown(*visibility));
        *visibility = kVisibilities.at(visibility->get<std::size_t>());
    }
    const fs::path preview = fs::u8path(fields.values.value("preview", ""));
    if (!preview.empty()) // without a path the item keeps the one that it has
        new_preview = ReadPreview(preview);
    return true;
}

bool Upload::ListContent()
{
    const fs::path root = fs::u8path(fields.values.value("content", ""));
    const auto refuse = [&root](int result, const std::string& why) {
        throw Refusal(result, "the content folder " + Name(root) + " " + why);
    };
    std::error_code error;
    if (!root.is_absolute() || !fs::is_directory(root, error))
        refuse(kNotFound, "is not the full path of a folder");
    fs::create_directories(version->Folder() / "content");
    fs::recursive_directory_iterator at(root, error);
    while (!error && at != fs::recursive_directory_iterator()) {
        if (at.depth() > kDeepestFolder) {
            refuse(kNotAcceptable, "has folders within folders, more than "
                                       + std::to_string(kDeepestFolder) + " deep");
        }
        ListEntry(root, *at);
        at.increment(error);
    }
    if (error || files.empty())
        refuse(kNotFound, error ? "cannot be read" : "holds no file");
    std::sort(files.begin(), files.end(),
              [](const ContentFile& a, const ContentFile& b) { return a.name < b.name; });
    return true;
}

void Upload::ListEntry(const fs::path& root, const fs::directory_entry& entry)
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
        Note("left out of the content: " + Name(name));
    }
}

bool Upload::CopyContent()
{
    auto budget = static_cast<std::uint64_t>(script.bytes_per_pump);
    int left_of_files = kMostFilesPerPump;
    while (current_file < files.size() && budget > 0 && left_of_files-- > 0) {
        CopyPart(files[current_file], budget);
        current_file += in.is_open() ? 0 : 1;
    }
    progress.done = copied_bytes;
    progress.total = content_bytes;
    return current_file == files.size();
}

// Closes the file when it is through.
void Upload::CopyPart(const ContentFile& file, std::uint64_t& budget)
{
    const auto refuse = [&file](int result, const std::string& why) {
        throw Refusal(result, "the content file " + Name(file.name) + " " + why);
    };
    if (!in.is_open()) {
        in = OpenFile(fs::u8path(fields.values.value("content", "")) / file.name);
        if (!in.is_open())
            refuse(kNotFound, "cannot be read");
        out = std::ofstream(version->Folder() / "content" / file.name, std::ios::binary);
        copied_of_file = 0;
    }
    std::array<char, 65536> buffer = {};
    while (budget > 0 && copied_of_file < file.size) {
        const auto wanted =
            std::min<std::uint64_t>({budget, file.size - copied_of_file, buffer.size()});
        in.read(buffer.data(), static_cast<std::streamsize>(wanted));
        if (!in)
            refuse(kFailure, "shrank while it was uploaded");
        out.write(buffer.data(), static_cast<std::streamsize>(wanted));
        budget -= wanted;
        copied_of_file += wanted;
        copied_bytes += wanted;
    }
    if (copied_of_file < file.size)
        return;
    if (in.peek() != std::ifstream::traits_type::eof())
        refuse(kFailure, "grew while it was uploaded");
    in.close();
    out.close();
    if (!out)
        refuse(kFailure, "cannot be written into the store");
}

bool Upload::WritePreview()
{
    const fs::path kept = store.ItemFolder(fields.item) / "preview";
    if (!new_preview.empty())
        WriteFile(version->Folder() / "preview", new_preview);
    else if (fs::exists(kept))
        fs::copy_file(kept, version->Folder() / "preview");
    return true;
}

bool Upload::WriteItem()
{
    const fs::path former = store.ItemFolder(fields.item);
    for (const char* key : {"title", "description", "visibility", "tags", "metadata"})
        if (fields.values.contains(key))
            item[key] = fields.values[key];
    item["updated"] = TimeText();
    const bool new_content = fields.values.contains("content");
    const std::string text = FileBytes(former / "history.json").value_or("");
    Json history = Json::parse(text, nullptr, false);
    if (!history.is_array())
        history = Json::array();
    const Json before = history.empty() ? Json::object() : history.back();
    history.push_back({{"version", history.size() + 1},
                       {"time", item["updated"]},
                       {"change_note", fields.change_note},
                       {"title", item["title"]},
                       {"bytes", new_content ? content_bytes : before.value("bytes", 0U)},
                       {"files", new_content ? files.size() : before.value("files", 0U)}});
    WriteJson(version->Folder() / "item.json", item);
    WriteJson(version->Folder() / "history.json", history);
    if (!new_content && fs::exists(former / "content"))
        fs::copy(former / "content", version->Folder() / "content", fs::copy_options::recursive);
    return true;
}

bool Upload::Publish()
{
    version->Publish();
    return true;
}

} // namespace practice
