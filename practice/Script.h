#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <deque>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace practice {

enum class CallKind { Create, Submit, Query };

enum class PreviewAnswer { Ok, None, NotAPicture, NotFound, ServerError, Slow, Never, ClosesEarly };

// What the library has been told to do, by a test or by a person's practice.json.
struct Script
{
    template<typename Value>
    using PerKind = std::array<Value, 3>;

    // Takes over the entries of one JSON object. Each entry replaces what is left of its former
    // value. An entry that is wrong is told under the name of the origin, and left out.
    // False when anything was left out.
    bool Apply(const std::string& text, const std::string& origin);

    // What is scripted for this one call; each entry works once.
    int NextResult(CallKind kind);
    static bool Consume(PerKind<int>& counts, CallKind kind);

    PerKind<std::deque<int>> results;
    PerKind<int> refusals = {};
    PerKind<int> silences = {};
    PerKind<int> io_failures = {};
    bool legal_agreement = false;
    bool start_fails = false;
    std::set<std::string> missing_interfaces;
    std::size_t bytes_per_pump = 262144;
    int answer_after_pumps = 2;
    PreviewAnswer preview = PreviewAnswer::Ok;
    std::chrono::milliseconds preview_delay{3000};
    std::string preview_url; // of somebody else's server; empty for our own
    std::string owner = "you";
};

// A person's script. Each time that it is saved, or deleted, it replaces all that was scripted
// before.
class ScriptFile
{
public:
    // True when the file had changed, and the script is now what is right in it.
    bool Look(const std::filesystem::path& file, Script& script);

private:
    // Nothing while there is no file.
    std::optional<std::pair<std::filesystem::file_time_type, std::uintmax_t>> seen_time_and_size;
};

} // namespace practice
