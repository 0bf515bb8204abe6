#include "Journal.h"

#include "Platform.h"

#include <nlohmann/json.hpp>

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
    std::string unwritten;
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
    for (char& character : line) {
        if (static_cast<unsigned char>(character) < 0x20) {
            character = ' ';
        }
    }
    return line;
}

void WriteOut(Journal& journal)
{
    if (journal.file.empty() || journal.unwritten.empty()) {
        return;
    }
    std::error_code error;
    const auto size = std::filesystem::file_size(journal.file, error);
    const bool afresh = !error && size > kLargestFile;
    std::ofstream out(journal.file, std::ios::binary | (afresh ? std::ios::trunc : std::ios::app));
    out << journal.unwritten;
    journal.unwritten.clear();
}

void Append(const std::string& line)
{
    Journal& journal = TheJournal();
    const std::string clean = OneLine(line);
    journal.text += clean + '\n';
    journal.unwritten += '[' + ProcessId() + "] " + clean + '\n';
    WriteOut(journal);
}

void Tell(const std::string& line)
{
    std::fprintf(stderr, "Practice Workshop: %s\n", OneLine(line).c_str());
}

} // namespace

void Note(const std::string& line)
{
    TheJournal().polled_since_last_line.clear();
    Append(line);
}

void NotePolled(const std::string& function, const std::string& line)
{
    if (TheJournal().polled_since_last_line.insert(function).second) {
        Append(line);
    }
}

void Mistake(const std::string& words)
{
    ++TheJournal().mistakes;
    Tell("mistake: " + words);
    Note("mistake: " + words);
}

void Trouble(const std::string& words)
{
    Tell(words);
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
    if (file.empty()) {
        TheJournal().unwritten.clear();
    }
    WriteOut(TheJournal());
}

std::string Quoted(const char* text)
{
    if (text == nullptr) {
        return "null";
    }
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

} // namespace practice
