#include "Platform.h"

#include <ctime>
#include <fstream>

#if defined(_WIN32)
#include <share.h>
#include <windows.h>
#else
#include <cstdlib>
#include <sys/file.h>
#endif

namespace practice {

#if defined(_WIN32)

std::string Environment(const char* name)
{
    const std::wstring wide_name = std::filesystem::u8path(name).wstring();
    std::wstring value(32767, L'\0'); // the longest value that Windows allows
    const DWORD length =
        GetEnvironmentVariableW(wide_name.c_str(), value.data(), static_cast<DWORD>(value.size()));
    value.resize(length < value.size() ? length : 0);
    return std::filesystem::path(value).u8string();
}

FileLock TakeLock(const std::filesystem::path& file)
{
    // A file opened without sharing can be open only once. N: no child process inherits it.
    std::FILE* const stream = _wfsopen(file.c_str(), L"abN", _SH_DENYRW);
    return stream != nullptr ? FileLock(stream, std::fclose) : nullptr;
}

#else

std::string Environment(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

FileLock TakeLock(const std::filesystem::path& file)
{
    std::FILE* const stream = std::fopen(file.c_str(), "ae"); // e: no child process inherits it
    FileLock lock = stream != nullptr ? FileLock(stream, std::fclose) : nullptr;
    return lock && flock(fileno(stream), LOCK_EX | LOCK_NB) == 0 ? lock : nullptr;
}

#endif

#if defined(_WIN32) || defined(__APPLE__)

void OpenItemsForPages(const std::filesystem::path&)
{}

#else

/// Programs open an address with the first xdg-open in PATH, so that is where ours goes.
void OpenItemsForPages(const std::filesystem::path& store)
{
    const std::filesystem::path folder = store / "browser";
    const std::filesystem::path opener = folder / "xdg-open";
    std::filesystem::create_directories(folder);
    std::ofstream(opener) << R"(#!/bin/sh
# Made by the Practice Workshop, first in the PATH of a program that rehearses.
item=${0%/browser/*}/items/${1##*=}
echo "Practice Workshop: instead of $1, this is opened: $item" >&2
PATH=${PATH#*:}
exec xdg-open "$item"
)";
    std::filesystem::permissions(opener, std::filesystem::perms(0755));
    setenv("PATH", (folder.string() + ":" + Environment("PATH")).c_str(), 1);
}

#endif

std::filesystem::path UserDataFolder()
{
#if defined(_WIN32)
    const auto base = std::filesystem::u8path(Environment("LOCALAPPDATA"));
#elif defined(__APPLE__)
    const auto base = std::filesystem::path(Environment("HOME")) / "Library/Application Support";
#else
    // The desktop convention says that a relative path in this variable counts as not set.
    const std::filesystem::path named = Environment("XDG_DATA_HOME");
    const auto base =
        named.is_absolute() ? named : std::filesystem::path(Environment("HOME")) / ".local/share";
#endif
    return base.is_absolute() ? base : std::filesystem::temp_directory_path();
}

std::string TimeText()
{
    const std::time_t now = std::time(nullptr);
    std::tm parts = {};
#if defined(_WIN32)
    gmtime_s(&parts, &now);
#else
    gmtime_r(&now, &parts);
#endif
    char text[32] = "";
    std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

} // namespace practice
