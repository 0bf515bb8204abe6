#include "Store.h"

#include "Journal.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <utility>

namespace practice {

namespace fs = std::filesystem;

namespace {

/// Nobody's on the real Workshop, whose numbers have ten digits.
constexpr std::uint64_t first_item = 900000000000001;

constexpr auto items_subfolder = "items";
constexpr auto staging_subfolder = "staging";
constexpr auto locks_subfolder = "locks";

} // namespace

NextVersion::NextVersion(FileLock item_lock, fs::path item_folder, fs::path staging_folder)
    : lock(std::move(item_lock)), item(std::move(item_folder)), staging(std::move(staging_folder))
{
    settle();
    fs::create_directories(Folder());
}

NextVersion::~NextVersion()
{
    settle();
}

void NextVersion::Publish() const
{
    if (fs::exists(item))
        fs::rename(item, staging / "old");
    fs::rename(Folder(), item);
}

void NextVersion::settle() const
{
    std::error_code error;
    // The item is away when a program was killed between the two renames.
    if (!fs::exists(item, error) && fs::exists(staging / "old", error))
        fs::rename(staging / "old", item, error);
    if (!error)
        fs::remove_all(staging, error);
}

fs::path Store::DefaultFolder()
{
    const std::string named = Environment("PRACTICE_WORKSHOP_DIR");
    return named.empty() ? UserDataFolder() / "tarnwick-practice-workshop"
                         : fs::absolute(fs::u8path(named));
}

void Store::Open(const fs::path& new_folder)
{
    for (const char* subfolder : {items_subfolder, staging_subfolder, locks_subfolder})
        fs::create_directories(new_folder / subfolder);
    folder = new_folder;
    for (const std::uint64_t id : numbers_in(staging_subfolder))
        Update(id); // settles what was left
}

fs::path Store::ItemFolder(std::uint64_t id) const
{
    return folder / items_subfolder / std::to_string(id);
}

std::uint64_t Store::Create(std::uint32_t app_id, const std::string& owner) const
{
    std::uint64_t id = first_item;
    for (const std::uint64_t taken : numbers_in(items_subfolder))
        id = std::max(id, taken + 1);
    const auto version = Update(id);
    if (version == nullptr || fs::exists(ItemFolder(id)))
        throw std::runtime_error("another program has just taken the number");
    WriteJson(version->Folder() / "history.json", Json::array());
    WriteJson(version->Folder() / "item.json", {{"id", id},
                                                {"owner", owner},
                                                {"app_id", app_id},
                                                {"visibility", "private"},
                                                {"created", TimeText()},
                                                {"deleted", false}});
    version->Publish();
    return id;
}

std::optional<Json> Store::Item(std::uint64_t id) const
{
    const std::string text = FileBytes(ItemFolder(id) / "item.json").value_or("");
    Json item = Json::parse(text, nullptr, false);
    const bool there = item.is_object() && item.value("deleted", Json()) != true;
    return there ? std::make_optional(std::move(item)) : std::nullopt;
}

std::unique_ptr<NextVersion> Store::Update(std::uint64_t id) const
{
    const std::string name = std::to_string(id);
    FileLock lock = TakeLock(folder / locks_subfolder / name);
    if (lock == nullptr)
        return nullptr;
    return std::make_unique<NextVersion>(std::move(lock), ItemFolder(id),
                                         folder / staging_subfolder / name);
}

void Store::Log(const std::string& what, int result, const std::string& reason) const
{
    std::ofstream out(folder / "workshop_log.txt", std::ios::binary | std::ios::app);
    out << TimeText() + " " + what + ", result " + std::to_string(result) + ": " + reason + "\n";
}

/// A name that is no number counts as 0, which is no item's.
std::vector<std::uint64_t> Store::numbers_in(const char* subfolder) const
{
    std::vector<std::uint64_t> numbers;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder / subfolder)) {
        const std::string name = entry.path().filename().u8string();
        numbers.push_back(std::strtoull(name.c_str(), nullptr, 10));
    }
    return numbers;
}

std::ifstream OpenFile(const fs::path& file)
{
    std::error_code error;
    return fs::is_regular_file(file, error) ? std::ifstream(file, std::ios::binary)
                                            : std::ifstream();
}

std::optional<std::string> FileBytes(const fs::path& file)
{
    std::ifstream in = OpenFile(file);
    if (!in.is_open())
        return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void WriteFile(const fs::path& file, const std::string& bytes)
{
    std::ofstream out(file, std::ios::binary);
    out << bytes;
    out.close();
    if (!out)
        throw std::runtime_error("cannot write " + file.u8string());
}

void WriteJson(const fs::path& file, const Json& value)
{
    WriteFile(file, value.dump(4, ' ', false, Json::error_handler_t::replace) + '\n');
}

} // namespace practice
