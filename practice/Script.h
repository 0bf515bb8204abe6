#pragma once

#include "PreviewServer.h"

#include <deque>
#include <filesystem>
#include <map>
#include <set>
#include <string>

namespace practice {

/// What the library is to do, as a test or a person's practice.json wants it. Calls are of the
/// kinds "create", "submit" and "query".
struct Script
{
    /// Takes over the entries of one JSON object. Each entry replaces what is left of its former
    /// value. An entry that is wrong is reported under the name of the origin, and left out.
    /// False when anything was left out.
    bool Apply(const std::string& text, const std::string& origin);

    /// What is scripted for this one call; each entry works once.
    int NextResult(const std::string& kind);
    static bool Consume(std::multiset<std::string>& kinds, const std::string& kind);

    std::map<std::string, std::deque<int>> results;
    std::multiset<std::string> refusals;
    std::multiset<std::string> silences;
    std::multiset<std::string> io_failures;
    bool legal_agreement = false;
    bool start_fails = false;
    std::set<std::string> missing_interfaces;
    int bytes_per_pump = 262144;
    int answer_after_pumps = 2;
    PreviewAnswer preview;
    std::string preview_url; // of somebody else's server; empty for our own
    std::string owner = "you";
};

/// A person's script. Each time that it is saved, or deleted, it replaces all that was scripted
/// before.
class ScriptFile
{
public:
    void Look(const std::filesystem::path& file, Script& script);

private:
    std::filesystem::file_time_type seen_time = std::filesystem::file_time_type::min();
    std::uintmax_t seen_size = static_cast<std::uintmax_t>(-1); // as of no file
};

} // namespace practice
