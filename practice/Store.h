#pragma once

#include "Platform.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace practice {

// Keeps its entries in the order in which they were written, for the people who read the files.
using Json = nlohmann::ordered_json;

struct NewItem
{
    std::uint32_t app_id = 0;
    std::string owner;
};

// The items on disk. Several programs may use one store at once. A new version of an item is built
// in a folder beside it and swapped in whole, so whoever is killed leaves a whole item behind.
class Store
{
public:
    // Where the environment or the user's data folder puts it.
    static std::filesystem::path DefaultFolder();

    // Makes the store where needed and settles what killed programs left; throws when it cannot.
    void Open(const std::filesystem::path& new_folder);

    const std::filesystem::path& Folder() const { return folder; }

    // The number of the new item; throws when it cannot be written.
    std::uint64_t Create(const NewItem& item) const;

    // Nothing for an item that was never made, was deleted, or cannot be read.
    std::optional<Json> Item(std::uint64_t id) const;
    Json History(std::uint64_t id) const;
    std::optional<std::string> Preview(std::uint64_t id) const;

    // One update of an item at a time, over all programs. Null when another one runs.
    std::unique_ptr<FileLock> Lock(std::uint64_t id) const;

    // Where the holder of the lock builds the item's next version: item.json and history.json, and
    // content and preview where there are any.
    std::filesystem::path NextVersion(std::uint64_t id) const;

    // Puts the next version in the item's place, with the former content if it has none of its
    // own; throws when the file system refuses. Only for the holder of the lock.
    void Swap(std::uint64_t id) const;

    // Ends a swap that was begun, and removes what else was built. Only for the holder of the lock.
    void Settle(std::uint64_t id) const;

    // Explains a failed result to the user, in the file that people look at.
    void Log(const std::string& item, int result, const std::string& reason) const;

    static void WriteJson(const std::filesystem::path& file, const Json& value);

private:
    void WriteNewItem(std::uint64_t id, const NewItem& item) const;
    std::filesystem::path ItemFolder(std::uint64_t id) const;
    std::filesystem::path StagingFolder(std::uint64_t id) const;
    std::optional<std::string> Read(std::uint64_t id, const char* name) const;
    bool SwapBegun(std::uint64_t id) const;
    void FinishSwap(std::uint64_t id) const;
    void WaitForSwap(std::uint64_t id) const;
    std::vector<std::uint64_t> Numbers(const char* subfolder) const;

    std::filesystem::path folder;
};

// The whole file; nothing when it cannot be read.
std::optional<std::string> FileBytes(const std::filesystem::path& file);

} // namespace practice
