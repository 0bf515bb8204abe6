#include "Journal.h"

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <set>

namespace practice {

namespace {

/// A journal that nobody looks at must not fill the disk.
constexpr std::uintmax_t largest_journal = std::uintmax_t{4} * 1024 * 1024;

struct Journal
{
    std::string text;
    std::filesystem::path file;
    std::set<std::string> polled_since_last_line;
    int mistakes = 0;
};

/// Never destroyed, so that a call made while the process ends still finds it.
Journal& the_journal()
{
    static auto* const journal = new Journal;
    return *journal;
}

void append(const std::string& line)
{
    Journal& journal = the_journal();
    journal.text += line + '\n';
    std::error_code error; // the size of no file is the largest number, and opening none fails
    const bool afresh = std::filesystem::file_size(journal.file, error) > largest_journal;
    std::ofstream out(journal.file, std::ios::binary | (afresh ? std::ios::trunc : std::ios::app));
    out << line << '\n';
}

} // namespace

void Note(const std::string& line)
{
    the_journal().polled_since_last_line.clear();
    append(line);
}

void NotePolled(const std::string& line)
{
    if (the_journal().polled_since_last_line.insert(line.substr(0, line.find('('))).second)
        append(line);
}

void Mistake(const std::string& words)
{
    ++the_journal().mistakes;
    Trouble("mistake: " + words);
}

void Trouble(const std::string& words)
{
    std::fprintf(stderr, "Practice Workshop: %s\n", words.c_str());
    Note(words);
}

const std::string& JournalText()
{
    return the_journal().text;
}

int MistakeCount()
{
    return the_journal().mistakes;
}

void ClearJournal()
{
    the_journal().text.clear();
}

void ForgetJournal()
{
    the_journal() = Journal();
}

void KeepJournalIn(const std::filesystem::path& file)
{
    the_journal().file = file;
}

std::string Shown(const nlohmann::json& value)
{
    return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string Shown(const char* text)
{
    return text != nullptr ? Shown(nlohmann::json(text)) : "null";
}

} // namespace practice
