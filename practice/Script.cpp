#include "Script.h"

#include "Journal.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <limits>
#include <map>
#include <stdexcept>

namespace practice {

namespace {

using json = nlohmann::ordered_json; // complaints come in the order of the file

constexpr std::int64_t kLargestStep = std::int64_t{1024} * 1024 * 1024; // bytes for one pump
constexpr std::int64_t kMostPumps = 1000000;
constexpr std::int64_t kLongestDelay = 600000; // milliseconds

// Why a value cannot be taken.
struct Unsuitable : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

std::size_t Index(CallKind kind)
{
    return static_cast<std::size_t>(kind);
}

std::int64_t Whole(const json& value, std::int64_t least, std::int64_t most)
{
    const bool too_large =
        value.is_number_unsigned() && value.get<std::uint64_t>() > static_cast<std::uint64_t>(most);
    if (!value.is_number_integer() || too_large || value.get<std::int64_t>() < least
        || value.get<std::int64_t>() > most) {
        throw Unsuitable("wants a whole number from " + std::to_string(least) + " to "
                         + std::to_string(most));
    }
    return value.get<std::int64_t>();
}

std::string Text(const json& value)
{
    if (!value.is_string()) {
        throw Unsuitable("wants a text");
    }
    return value.get<std::string>();
}

bool Boolean(const json& value)
{
    if (!value.is_boolean()) {
        throw Unsuitable("wants true or false");
    }
    return value.get<bool>();
}

template<typename Value>
Value OneOf(const json& value, const std::map<std::string, Value>& choices)
{
    const auto found = choices.find(Text(value));
    if (found == choices.end()) {
        std::string names;
        for (const auto& choice : choices) {
            names += (names.empty() ? "" : ", ") + choice.first;
        }
        throw Unsuitable("wants one of: " + names);
    }
    return found->second;
}

std::deque<int> Results(const json& value)
{
    std::deque<int> results;
    for (const json& entry : value.is_array() ? value : json::array({value})) {
        results.push_back(static_cast<int>(
            Whole(entry, std::numeric_limits<int>::min(), std::numeric_limits<int>::max())));
    }
    return results;
}

Script::PerKind<int> Kinds(const json& value)
{
    static const std::map<std::string, CallKind> kinds = {
        {"create", CallKind::Create}, {"submit", CallKind::Submit}, {"query", CallKind::Query}};
    if (!value.is_array()) {
        throw Unsuitable("wants a list of create, submit, query");
    }
    Script::PerKind<int> counts = {};
    for (const json& entry : value) {
        ++counts[Index(OneOf(entry, kinds))];
    }
    return counts;
}

std::set<std::string> Texts(const json& value)
{
    if (!value.is_array()) {
        throw Unsuitable("wants a list of texts");
    }
    std::set<std::string> texts;
    for (const json& entry : value) {
        texts.insert(Text(entry));
    }
    return texts;
}

PreviewAnswer Preview(const json& value)
{
    static const std::map<std::string, PreviewAnswer> answers = {
        {"ok", PreviewAnswer::Ok},
        {"none", PreviewAnswer::None},
        {"not_a_picture", PreviewAnswer::NotAPicture},
        {"404", PreviewAnswer::NotFound},
        {"500", PreviewAnswer::ServerError},
        {"slow", PreviewAnswer::Slow},
        {"never", PreviewAnswer::Never},
        {"closes_early", PreviewAnswer::ClosesEarly}};
    return OneOf(value, answers);
}

using Setter = void (*)(Script&, const json&);

const std::map<std::string, Setter>& Setters()
{
    static const auto* const setters = new std::map<std::string, Setter>{
        {"create_results", [](Script& s, const json& v) { s.results[0] = Results(v); }},
        {"submit_results", [](Script& s, const json& v) { s.results[1] = Results(v); }},
        {"query_results", [](Script& s, const json& v) { s.results[2] = Results(v); }},
        {"refuse_calls", [](Script& s, const json& v) { s.refusals = Kinds(v); }},
        {"silent_calls", [](Script& s, const json& v) { s.silences = Kinds(v); }},
        {"io_failures", [](Script& s, const json& v) { s.io_failures = Kinds(v); }},
        {"legal_agreement", [](Script& s, const json& v) { s.legal_agreement = Boolean(v); }},
        {"start",
         [](Script& s, const json& v) {
             s.start_fails = OneOf<bool>(v, {{"ok", false}, {"fails", true}});
         }},
        {"missing_interfaces", [](Script& s, const json& v) { s.missing_interfaces = Texts(v); }},
        {"bytes_per_pump",
         [](Script& s, const json& v) {
             s.bytes_per_pump = static_cast<std::size_t>(Whole(v, 1, kLargestStep));
         }},
        {"answer_after_pumps",
         [](Script& s, const json& v) {
             s.answer_after_pumps = static_cast<int>(Whole(v, 1, kMostPumps));
         }},
        {"preview", [](Script& s, const json& v) { s.preview = Preview(v); }},
        {"preview_url", [](Script& s, const json& v) { s.preview_url = Text(v); }},
        {"preview_delay_ms",
         [](Script& s,
            const json&
                v) { s.preview_delay = std::chrono::milliseconds(Whole(v, 0, kLongestDelay)); }},
        {"owner", [](Script& s, const json& v) { s.owner = Text(v); }}};
    return *setters;
}

// Feeds the parser and counts the lines that it has read, because the parser keeps no positions.
class LineCounter
{
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    LineCounter(const char* start, int* count) : position(start), line(count) {}
    reference operator*() const { return *position; }
    bool operator==(const LineCounter& other) const { return position == other.position; }
    bool operator!=(const LineCounter& other) const { return position != other.position; }

    LineCounter& operator++()
    {
        *line += *position == '\n' ? 1 : 0;
        ++position;
        return *this;
    }

private:
    const char* position;
    int* line;
};

// The object with the line of each of its keys; throws what the parser throws.
json Parse(const std::string& text, std::map<std::string, int>& lines)
{
    int line = 1;
    const auto remember = [&](int depth, json::parse_event_t event, json& parsed) {
        if (event == json::parse_event_t::key && depth == 1) {
            lines[parsed.get<std::string>()] = line;
        }
        return true;
    };
    const char* const start = text.data();
    return json::parse(LineCounter(start, &line), LineCounter(start + text.size(), &line), remember,
                       true, true);
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
    std::map<std::string, int> lines;
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
        const auto complain = [&, &name = key](const std::string& words) {
            Trouble(origin + ", line " + std::to_string(lines[name]) + ": " + words);
            all_taken = false;
        };
        const auto setter = Setters().find(key);
        if (setter == Setters().end()) {
            complain("unknown key " + Quoted(key.c_str()));
            continue;
        }
        try {
            setter->second(*this, value);
        } catch (const Unsuitable& reason) {
            complain(Quoted(key.c_str()) + " " + reason.what());
        }
    }
    return all_taken;
}

int Script::NextResult(CallKind kind)
{
    std::deque<int>& queue = results[Index(kind)];
    if (queue.empty()) {
        return 1;
    }
    const int result = queue.front();
    queue.pop_front();
    return result;
}

bool Script::Consume(PerKind<int>& counts, CallKind kind)
{
    int& count = counts[Index(kind)];
    return count > 0 && count-- > 0;
}

bool ScriptFile::Look(const std::filesystem::path& file, Script& script)
{
    std::error_code error;
    const auto time = std::filesystem::last_write_time(file, error);
    const auto size = error ? 0 : std::filesystem::file_size(file, error);
    const bool exists = !error;
    const auto now = exists ? std::make_optional(std::make_pair(time, size)) : std::nullopt;
    if (now == seen_time_and_size) {
        return false; // what it says once must not count again
    }
    seen_time_and_size = now;
    script = Script();
    if (exists) {
        std::ifstream in(file, std::ios::binary);
        const std::string text(std::istreambuf_iterator<char>(in), {});
        script.Apply(text, file.filename().u8string());
    }
    return true;
}

} // namespace practice
