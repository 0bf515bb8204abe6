#pragma once

#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>

namespace practice {

// The journal: one line for each call received, kept in memory for tests and appended to a file
// for people and for tests of another process.

void Note(const std::string& line);

/// For calls that a program makes many times a second: written only when the function has no line
/// since the last line of another kind.
void NotePolled(const std::string& line);

/// The caller did something that a real client would punish: counted, and printed on stderr too. It
/// comes before the line of the call that made it.
void Mistake(const std::string& words);

/// Something that is wrong but not the caller's doing: printed on stderr too, not counted.
void Trouble(const std::string& words);

const std::string& JournalText();
int MistakeCount();
void ClearJournal();

/// The mistakes and the file too.
void ForgetJournal();

/// Writes everything from now on to this file as well.
void KeepJournalIn(const std::filesystem::path& file);

/// As JSON; bytes that are not UTF-8 are replaced. A null pointer gives the word null.
std::string Shown(const nlohmann::json& value);
std::string Shown(const char* text);

/// Function(first, second, ...)
template<typename... Arguments>
std::string CallText(const std::string& function, const Arguments&... arguments)
{
    std::string list;
    ((list += (list.empty() ? "" : ", ") + Shown(arguments)), ...);
    return function + "(" + list + ")";
}

} // namespace practice
