#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

namespace practice {

// The variable's value in UTF-8; empty when it is not set. Read from the system, not from a copy
// that the C library made when the process started.
std::string Environment(const char* name);

// Where this user's programs keep their data; the folder itself may not exist yet.
std::filesystem::path UserDataFolder();

std::string ProcessId();

// From now on, what this process opens in the browser is opened as an item of the store instead:
// the number at the end of the address names it. Does nothing on systems that let no program decide
// that.
void OpenItemsForPages(const std::filesystem::path& store);

// The time now, UTC, as 2024-05-01T12:00:00Z.
std::string TimeText();

// A lock between programs and within this one. The system lets go of it when its holder is killed,
// so a lock that can be taken proves that nobody is at work behind it.
class FileLock
{
public:
    // Null when somebody else holds it. The file is made where needed, and stays.
    static std::unique_ptr<FileLock> Take(const std::filesystem::path& file);

    explicit FileLock(std::intptr_t system_handle);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

private:
    std::intptr_t handle;
};

} // namespace practice
