#include "Store.h"

#include "Journal.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace practice {

namespace fs = std::filesystem;

namespace {

// Nobody's on the real Workshop, whose numbers have ten digits.
constexpr std::uint64_t kFirstItem = 900000000000001;

constexpr auto kItems = "items";
constexpr auto kStaging = "staging";
constexpr auto kLocks = "locks";

Json Parsed(const std::optional<std::string>& text)
{
    return text ? Json::parse(*text, nullptr, false) : Json(Json::value_t::discarded);
}

} // namespace

fs::path Store::DefaultFolder()
{
    const std::string named = Environment("PRACTICE_WORKSHOP_DIR");
    return named.empty() ? UserDataFolder() / "tarnwick-practice-workshop"
                         : fs::absolute(fs::u8path(named));
}

void Store::Open(const fs::path& new_folder)
{
    for (const char* subfolder : {kItems, kStaging, kLocks}) {
        fs::create_directories(new_folder / subfolder);
    }
    folder = new_folder;
    for (const std::uint64_t id : Numbers(kStaging)) {
        if (const auto lock = Lock(id)) {
            Settle(id);
        }
    }
}

std::uint64_t Store::Create(const NewItem& item) const
{
    std::uint64_t id = kFirstItem;
    for (const char* subfolder : {kItems, kStaging}) {
        for (const std::uint64_t taken : Numbers(subfolder)) {
            id = std::max(id, taken + 1);
        }
    }
    // Only one of two programs gets a number; without any there is something else amiss.
    for (int tries = 0; tries < 100; ++tries, ++id) {
        const auto lock = Lock(id);
        if (!lock || fs::exists(ItemFolder(id))) {
            continue;
        }
        try {
            fs::create_directories(NextVersion(id));
            WriteNewItem(id, item);
            fs::rename(NextVersion(id), ItemFolder(id));
        } catch (const std::exception&) {
            Settle(id);
            throw;
        }
        Settle(id);
        return id;
    }
    throw std::runtime_error("no number can be had for a new item");
}

// Where it is not an item yet: a program that is killed meanwhile leaves no half of one.
void Store::WriteNewItem(std::uint64_t id, const NewItem& item) const
{
    const std::string now = TimeText();
    WriteJson(NextVersion(id) / "history.json", Json::array());
    WriteJson(NextVersion(id) / "item.json", {{"id", id},
                                              {"owner", item.owner},
                                              {"app_id", item.app_id},
                                              {"title", ""},
                                              {"description", ""},
                                              {"visibility", "private"},
                                              {"visibility_number", 2},
                                              {"tags", Json::array()},
                                              {"metadata", ""},
                                              {"created", now},
                                              {"updated", now},
                                              {"deleted", false}});
}

std::optional<Json> Store::Item(std::uint64_t id) const
{
    Json item = Parsed(Read(id, "item.json"));
    if (!item.is_object()) {
        return std::nullopt;
    }
    const auto deleted = item.find("deleted");
    if (deleted != item.end() && *deleted == true) {
        return std::nullopt;
    }
    return item;
}

Json Store::History(std::uint64_t id) const
{
    Json history = Parsed(Read(id, "history.json"));
    return history.is_array() ? history : Json::array();
}

std::optional<std::string> Store::Preview(std::uint64_t id) const
{
    return Read(id, "preview");
}

// A second look, because a swap may begin between the wait and the first one.
std::optional<std::string> Store::Read(std::uint64_t id, const char* name) const
{
    std::optional<std::string> bytes;
    for (int looks = 0; looks < 2 && !bytes; ++looks) {
        WaitForSwap(id);
        bytes = FileBytes(ItemFolder(id) / name);
    }
    return bytes;
}

std::unique_ptr<FileLock> Store::Lock(std::uint64_t id) const
{
    return FileLock::Take(folder / kLocks / std::to_string(id));
}

fs::path Store::NextVersion(std::uint64_t id) const
{
    return StagingFolder(id) / "new";
}

void Store::Swap(std::uint64_t id) const
{
    fs::rename(ItemFolder(id), StagingFolder(id) / "old");
    // From here on the next version is the only whole one: whoever comes next finishes the swap.
    FinishSwap(id);
}

void Store::FinishSwap(std::uint64_t id) const
{
    const fs::path old_content = StagingFolder(id) / "old" / "content";
    const fs::path new_content = NextVersion(id) / "content";
    if (!fs::exists(new_content) && fs::exists(old_content)) {
        fs::rename(old_content, new_content);
    }
    fs::rename(NextVersion(id), ItemFolder(id));
}

bool Store::SwapBegun(std::uint64_t id) const
{
    return !fs::exists(ItemFolder(id)) && fs::exists(StagingFolder(id) / "old");
}

void Store::Settle(std::uint64_t id) const
{
    try {
        if (SwapBegun(id)) {
            FinishSwap(id);
        }
        fs::remove_all(StagingFolder(id));
    } catch (const fs::filesystem_error& error) {
        Trouble("item " + std::to_string(id) + " is not settled: " + error.what());
    }
}

// An item that another program is swapping right now is away for a moment, and one whose program
// was killed right then is away until somebody settles it.
void Store::WaitForSwap(std::uint64_t id) const
{
    for (int tries = 0; tries < 100 && SwapBegun(id); ++tries) {
        if (const auto lock = Lock(id)) {
            Settle(id);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

void Store::Log(const std::string& item, int result, const std::string& reason) const
{
    std::ofstream out(folder / "workshop_log.txt", std::ios::binary | std::ios::app);
    out << TimeText() + " " + item + ", result " + std::to_string(result) + ": " + reason + "\n";
}

void Store::WriteJson(const fs::path& file, const Json& value)
{
    fs::path unfinished = file;
    unfinished += "." + ProcessId() + ".tmp";
    std::ofstream out(unfinished, std::ios::binary);
    out << value.dump(4, ' ', false, Json::error_handler_t::replace) << '\n';
    out.close();
    if (!out) {
        throw std::runtime_error("cannot write " + file.u8string());
    }
    fs::rename(unfinished, file);
}

fs::path Store::ItemFolder(std::uint64_t id) const
{
    return folder / kItems / std::to_string(id);
}

fs::path Store::StagingFolder(std::uint64_t id) const
{
    return folder / kStaging / std::to_string(id);
}

std::vector<std::uint64_t> Store::Numbers(const char* subfolder) const
{
    std::vector<std::uint64_t> numbers;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder / subfolder)) {
        const std::string name = entry.path().filename().u8string();
        const bool digits = name.find_first_not_of("0123456789") == std::string::npos;
        if (digits && name.size() < 20 && entry.is_directory()) { // 19 digits fit 64 bits
            numbers.push_back(std::stoull(name));
        }
    }
    return numbers;
}

std::optional<std::string> FileBytes(const fs::path& file)
{
    std::error_code error;
    if (!fs::is_regular_file(file, error)) { // opening a pipe would wait for ever
        return std::nullopt;
    }
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        return std::nullopt;
    }
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

} // namespace practice
