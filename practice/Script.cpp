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

constexpr int largest_step = 1024 * 1024 * 1024; // bytes for one pump
constexpr int most_pumps = 1000000;
constexpr int longest_delay = 600000; // milliseconds

/// Why a value cannot be taken.
struct Unsuitable : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

void require(bool suitable, const std::string& wanted)
{
    if (!suitable)
        throw Unsuitable("wants " + wanted);
}

int as_int(const json& value, int least, int most = std::numeric_limits<int>::max())
{
    const bool fits =
        value.is_number_integer() && value.get<double>() >= least && value.get<double>() <= most;
    require(fits, "a whole number from " + std::to_string(least) + " to " + std::to_string(most));
    return value.get<int>();
}

std::string as_text(const json& value)
{
    require(value.is_string(), "a text");
    return value.get<std::string>();
}

bool as_boolean(const json& value)
{
    require(value.is_boolean(), "true or false");
    return value.get<bool>();
}

std::string one_of(const json& value, const std::vector<std::string>& choices)
{
    const auto found = std::find(choices.begin(), choices.end(), as_text(value));
    require(found != choices.end(), "one of: " + Shown(choices));
    return *found;
}

/// One value counts as a list of one.
template<typename List, typename Convert>
List list_of(const json& value, Convert convert)
{
    List list;
    for (const json& entry : value.is_array() ? value : json::array({value}))
        list.insert(list.end(), convert(entry));
    return list;
}

std::deque<int> as_results(const json& value)
{
    return list_of<std::deque<int>>(
        value, [](const json& entry) { return as_int(entry, std::numeric_limits<int>::min()); });
}

std::multiset<std::string> as_kinds(const json& value)
{
    return list_of<std::multiset<std::string>>(value, [](const json& entry) {
        return one_of(entry, {"create", "submit", "query"});
    });
}

std::string as_preview_kind(const json& value)
{
    return one_of(value, {"ok", "none", "404", "slow", "never"});
}

using Setter = void (*)(Script&, const json&);

const std::map<std::string, Setter>& setters()
{
    static const auto* const setters = new std::map<std::string, Setter>{
        {"create_results", [](Script& s, const json& v) { s.results["create"] = as_results(v); }},
        {"submit_results", [](Script& s, const json& v) { s.results["submit"] = as_results(v); }},
        {"query_results", [](Script& s, const json& v) { s.results["query"] = as_results(v); }},
        {"refuse_calls", [](Script& s, const json& v) { s.refusals = as_kinds(v); }},
        {"silent_calls", [](Script& s, const json& v) { s.silences = as_kinds(v); }},
        {"io_failures", [](Script& s, const json& v) { s.io_failures = as_kinds(v); }},
        {"legal_agreement", [](Script& s, const json& v) { s.legal_agreement = as_boolean(v); }},
        {"start",
         [](Script& s, const json& v) {
             s.start_fails = one_of(v, {"ok", "fails"}) == "fails";
         }},
        {"missing_interfaces",
         [](Script& s, const json& v) {
             s.missing_interfaces = list_of<std::set<std::string>>(v, as_text);
         }},
        {"bytes_per_pump",
         [](Script& s, const json& v) { s.bytes_per_pump = as_int(v, 1, largest_step); }},
        {"answer_after_pumps",
         [](Script& s, const json& v) { s.answer_after_pumps = as_int(v, 1, most_pumps); }},
        {"preview", [](Script& s, const json& v) { s.preview.kind = as_preview_kind(v); }},
        {"preview_url", [](Script& s, const json& v) { s.preview_url = as_text(v); }},
        {"preview_delay_ms",
         [](Script& s,
            const json&
                v) { s.preview.delay = std::chrono::milliseconds(as_int(v, 0, longest_delay)); }},
        {"owner", [](Script& s, const json& v) { s.owner = as_text(v); }}};
    return *setters;
}

/// The object with the line of each of its keys; throws what the parser throws.
json parse(const std::string& text, std::map<std::string, std::ptrdiff_t>& lines)
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

/// "3, column 5: what is wrong" out of the parser's own words.
std::string place_and_reason(const std::string& words)
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
        entries = parse(text, lines);
    } catch (const json::exception& error) {
        Trouble(origin + ", line " + place_and_reason(error.what()));
        return false;
    }
    if (!entries.is_object()) {
        Trouble(origin + ", line 1: wants one JSON object");
        return false;
    }
    bool all_taken = true;
    for (const auto& [key, value] : entries.items()) {
        try {
            const auto setter = setters().find(key);
            if (setter == setters().end())
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
