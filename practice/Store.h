#pragma once

#include "Platform.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace practice {

/// Keeps its entries in the order in which they were written, for the people who read the files.
using Json = nlohmann::ordered_json;

/// Results of calls.
constexpr int result_ok = 1;
constexpr int result_failure = 2;
constexpr int result_not_acceptable = 8;
constexpr int result_not_found = 9;
constexpr int result_not_allowed = 15;
constexpr int result_too_large = 25;
constexpr int result_already_running = 33;

/// Ends a call with this result; the reason is for the user.
struct Refusal : std::runtime_error
{
    Refusal(int code, const std::string& reason) : std::runtime_error(reason), result(code) {}
    int result;
};

/// The next version of an item, or the first one. It is built in a folder of its own, which then
/// takes the item's place, so a killed program leaves either the old item or the new one.
class NextVersion
{
public:
    /// The lock is that of the item. What a killed program has left is removed.
    NextVersion(FileLock item_lock, std::filesystem::path item_folder,
                std::filesystem::path staging_folder);
    ~NextVersion();
    NextVersion(const NextVersion&) = delete;
    NextVersion& operator=(const NextVersion&) = delete;

    /// Holds item.json and history.json, and content and preview where there are any.
    std::filesystem::path Folder() const { return staging / "new"; }

    /// Puts it in the item's place; throws when the file system refuses.
    void Publish() const;

private:
    void settle() const;

    FileLock lock;
    std::filesystem::path item;
    std::filesystem::path staging;
};

/// The items on disk. Several programs may use one store at once.
class Store
{
public:
    /// Where the environment or the user's data folder puts it.
    static std::filesystem::path DefaultFolder();

    /// Makes the store where needed and settles what killed programs left; throws when it cannot.
    void Open(const std::filesystem::path& new_folder);

    const std::filesystem::path& Folder() const { return folder; }
    std::filesystem::path ItemFolder(std::uint64_t id) const;

    /// The number of the new item; throws when it cannot be written.
    std::uint64_t Create(std::uint32_t app_id, const std::string& owner) const;

    /// Nothing for an item that was never made, was deleted, or cannot be read.
    std::optional<Json> Item(std::uint64_t id) const;

    /// One update of an item at a time, over all programs. Null when another one runs.
    std::unique_ptr<NextVersion> Update(std::uint64_t id) const;

    /// Explains a failed result to the user, in the file that people look at.
    void Log(const std::string& what, int result, const std::string& reason) const;

private:
    std::vector<std::uint64_t> numbers_in(const char* subfolder) const;

    std::filesystem::path folder;
};

/// Not open when it is no regular file: opening a pipe would block.
std::ifstream OpenFile(const std::filesystem::path& file);

/// The whole file; nothing when it cannot be read.
std::optional<std::string> FileBytes(const std::filesystem::path& file);

/// Throws when it cannot be written.
void WriteFile(const std::filesystem::path& file, const std::string& bytes);
void WriteJson(const std::filesystem::path& file, const Json& value);

} // namespace practice
