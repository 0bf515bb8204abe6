#include "Script.h"

#include "Journal.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace practice {

namespace {

using json = nlohmann::ordered_json; // complaints come in the order of the file

constexpr int kLargestStep = 1024 * 1024 * 1024; // bytes for one pump
constexpr int kMostPumps = 1000000;
constexpr int kLongestDelay = 600000; // milliseconds

// Why a value cannot be taken.
struct Unsuitable : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

void Require(bool suitable, const std::string& wanted)
{
    if (!suitable)
        throw Unsuitable("wants " + wanted);
}

int Whole(const json& value, int least, int most = std::numeric_limits<int>::max())
{
    const bool fits =
        value.is_number_integer() && value.get<double>() >= least && value.get<double>() <= most;
    Require(fits, "a whole number from " + std::to_string(least) + " to " + std::to_string(most));
    return value.get<int>();
}

std::string Text(const json& value)
{
    Require(value.is_string(), "a text");
    return value.get<std::string>();
}

bool Boolean(const json& value)
{
    Require(value.is_boolean(), "true or false");
    return value.get<bool>();
}

std::string OneOf(const json& value, const std::vector<std::string>& choices)
{
    const auto found = std::find(choices.begin(), choices.end(), Text(value));
    Require(found != choices.end(), "one of: " + Shown(choices));
    return *found;
}

// One value counts as a list of one.
template<typename List, typename Convert>
List ListOf(const json& value, Convert convert)
{
    List list;
    for (const json& entry : value.is_array() ? value : json::array({value}))
        list.insert(list.end(), convert(entry));
    return list;
}

std::deque<int> Results(const json& value)
{
    return ListOf<std::deque<int>>(
        value, [](const json& entry) { return Whole(entry, std::numeric_limits<int>::min()); });
}

std::multiset<std::string> Kinds(const json& value)
{
    return ListOf<std::multiset<std::string>>(value, [](const json& entry) {
        return OneOf(entry, {"create", "submit", "query"});
    });
}

std::string PreviewKind(const json& value)
{
    return OneOf(value,
                 {"ok", "none", "not_a_picture", "404", "500", "slow", "never", "closes_early"});
}

using Setter = void (*)(Script&, const json&);

const std::map<std::string, Setter>& Setters()
{
    static const auto* const setters = new std::map<std::string, Setter>{
        {"create_results", [](Script& s, const json& v) { s.results["create"] = Results(v); }},
        {"submit_results", [](Script& s, const json& v) { s.results["submit"] = Results(v); }},
        {"query_results", [](Script& s, const json& v) { s.results["query"] = Results(v); }},
        {"refuse_calls", [](Script& s, const json& v) { s.refusals = Kinds(v); }},
        {"silent_calls", [](Script& s, const json& v) { s.silences = Kinds(v); }},
        {"io_failures", [](Script& s, const json& v) { s.io_failures = Kinds(v); }},
        {"legal_agreement", [](Script& s, const json& v) { s.legal_agreement = Boolean(v); }},
        {"start",
         [](Script& s, const json& v) {
             s.start_fails = OneOf(v, {"ok", "fails"}) == "fails";
         }},
        {"missing_interfaces",
         [](Script& s, const json& v) {
             s.missing_interfaces = ListOf<std::set<std::string>>(v, Text);
         }},
        {"bytes_per_pump",
         [](Script& s, const json& v) { s.bytes_per_pump = Whole(v, 1, kLargestStep); }},
        {"answer_after_pumps",
         [](Script& s, const json& v) { s.answer_after_pumps = Whole(v, 1, kMostPumps); }},
        {"preview", [](Script& s, const json& v) { s.preview.kind = PreviewKind(v); }},
        {"preview_url", [](Script& s, const json& v) { s.preview_url = Text(v); }},
        {"preview_delay_ms",
         [](Script& s,
            const json&
                v) { s.preview.delay = std::chrono::milliseconds(Whole(v, 0, kLongestDelay)); }},
        {"owner", [](Script& s, const json& v) { s.owner = Text(v); }}};
    return *setters;
}

// The object with the line of each of its keys; throws what the parser throws.
json Parse(const std::string& text, std::map<std::string, std::ptrdiff_t>& lines)
{
    std::istringstream stream(text);
    const auto remember = [&](int depth, json::parse_event_t event, json& parsed) {
        if (event == json::parse_event_t::key && depth == 1)
            lines[parsed.get<std::string>()] =
                1 + std::count(text.begin(), text.begin() + stream.tellg(), '\n');
        return true;
    };
    return json::parse(stream, remember, true, true);
}

// "3, column 5: what is wrong" out of the parser's own words.
std::string PlaceAndReason(const std::string& words)
{
    const std::string mark = "at line ";
    const auto place = words.find(mark);
    return place == std::string::npos ? "1: " + words : words.substr(place + mark.size());
}

} // namespace

bool Script::Apply(const std::string& text, const std::string& origin)
{
    json entries;
    std::map<std::string, std::ptrdiff_t> lines;
    try {
        entries = Parse(text, lines);
    } catch (const json::exception& error) {
        Trouble(origin + ", line " + PlaceAndReason(error.what()));
        return false;
    }
    if (!entries.is_object()) {
        Trouble(origin + ", line 1: wants one JSON object");
        return false;
    }
    bool all_taken = true;
    for (const auto& [key, value] : entries.items()) {
        try {
            const auto setter = Setters().find(key);
            if (setter == Setters().end())
                throw Unsuitable("is an unknown key");
            setter->second(*this, value);
        } catch (const Unsuitable& reason) {
            Trouble(origin + ", line " + std::to_string(lines[key]) + ": " + Shown(key) + " "
                    + reason.what());
            all_taken = false;
        }
    }
    return all_taken;
}

int Script::NextResult(const std::string& kind)
{
    std::deque<int>& queue = results[kind];
    if (queue.empty())
        return 1;
    const int result = queue.front();
    queue.pop_front();
    return result;
}

bool Script::Consume(std::multiset<std::string>& kinds, const std::string& kind)
{
    const auto found = kinds.find(kind);
    if (found == kinds.end())
        return false;
    kinds.erase(found);
    return true;
}

void ScriptFile::Look(const std::filesystem::path& file, Script& script)
{
    std::error_code error; // without a file these are the smallest time and the largest size
    const auto time = std::filesystem::last_write_time(file, error);
    const auto size = std::filesystem::file_size(file, error);
    if (time == seen_time && size == seen_size)
        return; // what it says once must not count again
    seen_time = time;
    seen_size = size;
    script = Script();
    if (!error) {
        std::ifstream in(file, std::ios::binary);
        const std::string text(std::istreambuf_iterator<char>(in), {});
        script.Apply(text, file.filename().u8string());
    }
}

} // namespace practice
