#pragma once

#include <filesystem>
#include <string>
#include <type_traits>

namespace practice {

// The journal: one line for each call received, kept in memory for tests and appended to a file
// for people and for tests of another process.

void Note(const std::string& line);

// For calls that a program makes many times a second: written only when the function has not been
// written since the last line of another kind.
void NotePolled(const std::string& function, const std::string& line);

// The caller did something that a real client would punish: counted, and told on stderr too. It
// stands before the line of the call that made it.
void Mistake(const std::string& words);

// Something that is wrong but not the caller's doing: told on stderr too, not counted.
void Trouble(const std::string& words);

const std::string& JournalText();
int MistakeCount();
void ClearJournal();
void ForgetMistakes();

// Writes what was noted so far, and everything from now on, to this file; an empty path ends that.
void KeepJournalIn(const std::filesystem::path& file);

// JSON text in double quotes; bytes that are not UTF-8 are replaced. Null gives the word null.
std::string Quoted(const char* text);

inline std::string Shown(const char* text)
{
    return Quoted(text);
}

inline std::string Shown(const std::string& ready)
{
    return ready;
}

template<typename Number, typename = std::enable_if_t<std::is_arithmetic_v<Number>>>
std::string Shown(Number value)
{
    if constexpr (std::is_same_v<Number, bool>) {
        return value ? "true" : "false";
    } else {
        return std::to_string(value);
    }
}

// Function(first, second, ...)
template<typename... Arguments>
std::string CallText(const std::string& function, const Arguments&... arguments)
{
    std::string list;
    ((list += (list.empty() ? "" : ", ") + Shown(arguments)), ...);
    return function + "(" + list + ")";
}

} // namespace practice
