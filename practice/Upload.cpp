#include "Upload.h"

#include "Journal.h"

#include <algorithm>
#include <array>
#include <stdexcept>
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

// Results of a submitted update.
constexpr int kDone = 1;
constexpr int kFailure = 2;
constexpr int kNotAcceptable = 8;
constexpr int kNotFound = 9;
constexpr int kNotAllowed = 15;
constexpr int kTooLarge = 25;
constexpr int kAlreadyRunning = 33;

constexpr std::array<const char*, 4> kVisibilities = {"public", "friends", "private", "unlisted"};

// Ends the update with this result.
struct Refusal : std::runtime_error
{
    Refusal(int code, const std::string& reason) : std::runtime_error(reason), result(code) {}
    int result;
};

std::string Name(const fs::path& path)
{
    return Quoted(path.u8string().c_str());
}

bool StartsWith(const std::string& bytes, const std::string& start)
{
    return bytes.compare(0, start.size(), start) == 0;
}

// PNG, JPEG or GIF by what the file holds, whatever its name.
bool IsPicture(const std::string& bytes)
{
    return StartsWith(bytes, "\x89PNG\r\n\x1a\n") || StartsWith(bytes, "\xff\xd8\xff")
           || StartsWith(bytes, "GIF87a") || StartsWith(bytes, "GIF89a");
}

std::string ReadPreview(const std::string& text)
{
    const fs::path file = fs::u8path(text);
    std::error_code error;
    if (!file.is_absolute() || !fs::is_regular_file(file, error)) {
        throw Refusal(kNotFound, "the preview " + Name(file) + " is not the full path of a file");
    }
    const auto size = fs::file_size(file, error);
    if (!error && size >= kPreviewTooLarge) {
        throw Refusal(kTooLarge, "the preview " + Name(file) + " has " + std::to_string(size)
                                     + " bytes, and must have less than 1 MiB");
    }
    auto bytes = FileBytes(file);
    if (error || !bytes) {
        throw Refusal(kNotFound, "the preview " + Name(file) + " cannot be read");
    }
    if (bytes->size() < kSmallestPreview) {
        throw Refusal(kNotAcceptable, "the preview " + Name(file) + " has less than 16 bytes");
    }
    if (!IsPicture(*bytes)) {
        throw Refusal(kNotFound, "the preview " + Name(file) + " is not PNG, JPEG or GIF");
    }
    return std::move(*bytes);
}

void WriteFile(const fs::path& file, const std::string& bytes)
{
    std::ofstream out(file, std::ios::binary);
    out << bytes;
    out.close();
    if (!out) {
        throw Refusal(kFailure, "the copy of the preview cannot be written");
    }
}

void CheckLength(const char* what, std::size_t length, std::size_t longest)
{
    if (length > longest) {
        throw Refusal(kNotAcceptable, std::string(what) + " has " + std::to_string(length)
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
    progress.status = UploadStatus::PreparingConfig;
}

Upload::~Upload()
{
    TakeBack();
}

void Upload::TakeBack()
{
    in.close();
    out.close(); // Windows does not remove files that are open
    if (lock != nullptr) {
        store.Settle(fields.item);
    }
    lock.reset();
}

std::optional<int> Upload::Step()
{
    const auto failed = [this](int result, const std::string& reason) {
        TakeBack(); // first, because a full disk has no room for the log
        store.Log("item " + std::to_string(fields.item), result, reason);
        return result;
    };
    try {
        return TakeStep();
    } catch (const Refusal& refusal) {
        return failed(refusal.result, refusal.what());
    } catch (const std::exception& error) {
        return failed(kFailure, error.what());
    }
}

// Each phase stays to be seen until the next pump.
std::optional<int> Upload::TakeStep()
{
    if (staged) {
        store.Swap(fields.item);
        return kDone;
    }
    progress = {next, 0, 0};
    switch (next) {
    case UploadStatus::PreparingConfig:
        CheckItem();
        CheckFields();
        next = AfterConfig();
        break;
    case UploadStatus::PreparingContent:
        ListContent();
        next = UploadStatus::UploadingContent;
        break;
    case UploadStatus::UploadingContent:
        CopyContent();
        break;
    case UploadStatus::UploadingPreview:
        StagePreview();
        next = UploadStatus::Committing;
        break;
    case UploadStatus::Committing:
    case UploadStatus::Invalid:
        StageDescription();
        staged = true;
        break;
    }
    return std::nullopt;
}

// With an empty path the item keeps the preview that it has.
bool Upload::NewPreview() const
{
    return !fields.preview.value_or("").empty();
}

UploadStatus Upload::AfterConfig() const
{
    return fields.content ? UploadStatus::PreparingContent : AfterContent();
}

UploadStatus Upload::AfterContent() const
{
    return NewPreview() ? UploadStatus::UploadingPreview : UploadStatus::Committing;
}

void Upload::CheckItem()
{
    if (fields.app_id != program_app_id) {
        throw Refusal(kNotAcceptable, "the update is for app " + std::to_string(fields.app_id)
                                          + ", the program runs as app "
                                          + std::to_string(program_app_id));
    }
    const std::optional<Json> item = store.Item(fields.item);
    if (!item) {
        throw Refusal(kNotFound, "there is no such item");
    }
    if (item->value("app_id", 0U) != program_app_id) {
        throw Refusal(kNotAcceptable, "the item belongs to another app");
    }
    if (item->value("owner", "") != script.owner) {
        throw Refusal(kNotAllowed, "the item belongs to another account");
    }
    lock = store.Lock(fields.item);
    if (lock == nullptr) {
        throw Refusal(kAlreadyRunning, "another update of the item is running");
    }
    store.Settle(fields.item);
    fs::create_directories(store.NextVersion(fields.item));
}

void Upload::CheckFields() const
{
    CheckLength("the title", fields.title.value_or("").size(), kLongestTitle);
    CheckLength("the description", fields.description.value_or("").size(), kLongestText);
    CheckLength("the change note", fields.change_note.size(), kLongestText);
    const int visibility = fields.visibility.value_or(0);
    if (visibility < 0 || visibility >= static_cast<int>(kVisibilities.size())) {
        throw Refusal(kNotAcceptable, "there is no visibility " + std::to_string(visibility));
    }
    if (fields.content) {
        const fs::path root = fs::u8path(*fields.content);
        std::error_code error;
        if (!root.is_absolute() || !fs::is_directory(root, error)) {
            throw Refusal(kNotFound,
                          "the content " + Name(root) + " is not the full path of a folder");
        }
        if (fs::directory_iterator(root, error) == fs::directory_iterator()) {
            throw Refusal(kNotFound, "the content folder " + Name(root)
                                         + (error ? " cannot be read" : " is empty"));
        }
    }
    if (NewPreview()) {
        ReadPreview(*fields.preview);
    }
}

void Upload::ListContent()
{
    const fs::path root = fs::u8path(*fields.content);
    fs::create_directories(store.NextVersion(fields.item) / "content");
    std::error_code error;
    fs::recursive_directory_iterator at(root, error);
    while (!error && at != fs::recursive_directory_iterator()) {
        if (at.depth() > kDeepestFolder) {
            throw Refusal(kNotAcceptable, "the content folder " + Name(root)
                                              + " has folders within folders, more than "
                                              + std::to_string(kDeepestFolder) + " deep");
        }
        ListEntry(root, *at);
        at.increment(error);
    }
    if (error) {
        throw Refusal(kNotFound, "the content folder " + Name(root) + " cannot be read");
    }
    if (files.empty()) {
        throw Refusal(kNotFound, "the content folder " + Name(root) + " holds no file");
    }
    std::sort(files.begin(), files.end(),
              [](const ContentFile& a, const ContentFile& b) { return a.name < b.name; });
}

void Upload::ListEntry(const fs::path& root, const fs::directory_entry& entry)
{
    const fs::path name = entry.path().lexically_relative(root);
    std::error_code error;
    if (entry.is_regular_file(error)) {
        const auto size = entry.file_size(error);
        if (error) {
            throw Refusal(kNotFound, "the size of " + Name(name) + " cannot be read");
        }
        files.push_back({name, size});
        content_bytes += size;
    } else if (entry.is_directory(error) && !entry.is_symlink(error)) {
        fs::create_directories(store.NextVersion(fields.item) / "content" / name);
    } else {
        // Links to folders could lead round in a circle; sockets and the like cannot be copied.
        Note("left out of the content: " + Name(name));
    }
}

void Upload::CopyContent()
{
    std::uint64_t budget = script.bytes_per_pump;
    int left_of_files = kMostFilesPerPump;
    // Files without bytes cost nothing.
    while (current_file < files.size() && left_of_files-- > 0
           && (budget > 0 || files[current_file].size == 0)) {
        const ContentFile& file = files[current_file];
        if (!out.is_open()) {
            OpenFile(file);
        }
        CopyPart(file, budget);
        if (copied_of_file == file.size) {
            CloseFile(file);
            ++current_file;
        }
    }
    progress.done = copied_bytes;
    progress.total = content_bytes;
    if (current_file == files.size()) {
        next = AfterContent();
    }
}

void Upload::OpenFile(const ContentFile& file)
{
    const fs::path path = fs::u8path(*fields.content) / file.name;
    std::error_code error;
    if (fs::is_regular_file(path, error)) { // what is a pipe by now would be waited for
        in.open(path, std::ios::binary);
    }
    if (!in.is_open()) {
        throw Refusal(kNotFound, "the content file " + Name(file.name) + " cannot be read");
    }
    out.open(store.NextVersion(fields.item) / "content" / file.name, std::ios::binary);
    copied_of_file = 0;
}

void Upload::CopyPart(const ContentFile& file, std::uint64_t& budget)
{
    std::array<char, 65536> buffer = {};
    while (budget > 0 && copied_of_file < file.size) {
        const auto wanted = std::min(
            {budget, file.size - copied_of_file, static_cast<std::uint64_t>(buffer.size())});
        in.read(buffer.data(), static_cast<std::streamsize>(wanted));
        if (static_cast<std::uint64_t>(in.gcount()) != wanted) {
            throw Refusal(kFailure,
                          "the content file " + Name(file.name) + " shrank while it was uploaded");
        }
        out.write(buffer.data(), static_cast<std::streamsize>(wanted));
        budget -= wanted;
        copied_of_file += wanted;
        copied_bytes += wanted;
    }
}

void Upload::CloseFile(const ContentFile& file)
{
    if (in.peek() != std::ifstream::traits_type::eof()) {
        throw Refusal(kFailure,
                      "the content file " + Name(file.name) + " grew while it was uploaded");
    }
    in.close();
    in.clear();
    out.close();
    if (!out) {
        throw Refusal(kFailure, "the copy of " + Name(file.name) + " cannot be written");
    }
}

void Upload::StagePreview() const
{
    WriteFile(store.NextVersion(fields.item) / "preview", ReadPreview(*fields.preview));
}

void Upload::StageDescription() const
{
    std::optional<Json> item = store.Item(fields.item);
    if (!item) {
        throw Refusal(kNotFound, "the item was deleted while it was updated");
    }
    const auto take_over = [&item](const char* key, const auto& field) {
        if (field) {
            (*item)[key] = *field;
        }
    };
    take_over("title", fields.title);
    take_over("description", fields.description);
    take_over("tags", fields.tags);
    take_over("metadata", fields.metadata);
    take_over("visibility_number", fields.visibility);
    if (fields.visibility) {
        (*item)["visibility"] = kVisibilities[static_cast<std::size_t>(*fields.visibility)];
    }
    (*item)["updated"] = TimeText();

    Json history = store.History(fields.item);
    const Json before = history.empty() ? Json::object() : history.back();
    history.push_back({{"version", history.size() + 1},
                       {"time", (*item)["updated"]},
                       {"change_note", fields.change_note},
                       {"title", (*item)["title"]},
                       {"bytes", fields.content ? content_bytes : before.value("bytes", 0U)},
                       {"files", fields.content ? files.size() : before.value("files", 0U)}});
    const fs::path folder = store.NextVersion(fields.item);
    Store::WriteJson(folder / "item.json", *item);
    Store::WriteJson(folder / "history.json", history);
    const auto kept_preview = NewPreview() ? std::nullopt : store.Preview(fields.item);
    if (kept_preview) {
        WriteFile(folder / "preview", *kept_preview);
    }
}

} // namespace practice
