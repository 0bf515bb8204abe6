#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

namespace practice {

/// The variable's value in UTF-8; empty when it is not set. Read from the system, not from a copy
/// that the C library made when the process started.
std::string Environment(const char* name);

/// Where this user's programs keep their data; the folder itself may not exist yet.
std::filesystem::path UserDataFolder();

/// From now on, what this process opens in the browser is opened as an item of the store instead:
/// the number at the end of the address names it. Does nothing on systems that let no program
/// decide that.
void OpenItemsForPages(const std::filesystem::path& store);

/// The time now, UTC, as 2024-05-01T12:00:00Z.
std::string TimeText();

/// A lock between programs and within this one. The system lets go of it when its holder is killed,
/// so a lock that can be taken proves that nobody is at work behind it.
using FileLock = std::shared_ptr<std::FILE>;

/// Null when somebody else holds it. The file is made where needed, and stays.
FileLock TakeLock(const std::filesystem::path& file);

} // namespace practice
