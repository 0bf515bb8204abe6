#include "Journal.h"

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <set>

namespace practice {

namespace {

// A journal that nobody looks at must not fill the disk.
constexpr std::uintmax_t kLargestFile = std::uintmax_t{4} * 1024 * 1024;

struct Journal
{
    std::string text;
    std::filesystem::path file;
    std::set<std::string> polled_since_last_line;
    int mistakes = 0;
};

// Never destroyed, so that a call made while the process ends still finds it.
Journal& TheJournal()
{
    static auto* const journal = new Journal;
    return *journal;
}

// What a line quotes from elsewhere must not break it in two.
std::string OneLine(std::string line)
{
    for (char& character : line)
        if (static_cast<unsigned char>(character) < 0x20)
            character = ' ';
    return line + '\n';
}

void Append(const std::string& line)
{
    Journal& journal = TheJournal();
    journal.text += OneLine(line);
    if (journal.file.empty())
        return;
    std::error_code error; // the size of no file is the largest number
    const bool afresh = std::filesystem::file_size(journal.file, error) > kLargestFile;
    std::ofstream out(journal.file, std::ios::binary | (afresh ? std::ios::trunc : std::ios::app));
    out << OneLine(line);
}

} // namespace

void Note(const std::string& line)
{
    TheJournal().polled_since_last_line.clear();
    Append(line);
}

void NotePolled(const std::string& line)
{
    if (TheJournal().polled_since_last_line.insert(line.substr(0, line.find('('))).second)
        Append(line);
}

void Mistake(const std::string& words)
{
    ++TheJournal().mistakes;
    Trouble("mistake: " + words);
}

void Trouble(const std::string& words)
{
    std::fprintf(stderr, "Practice Workshop: %s", OneLine(words).c_str());
    Note(words);
}

const std::string& JournalText()
{
    return TheJournal().text;
}

int MistakeCount()
{
    return TheJournal().mistakes;
}

void ClearJournal()
{
    TheJournal().text.clear();
    TheJournal().polled_since_last_line.clear();
}

void ForgetMistakes()
{
    TheJournal().mistakes = 0;
}

void KeepJournalIn(const std::filesystem::path& file)
{
    TheJournal().file = file;
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
