#include "Workshop.h"

#include "Journal.h"
#include "Platform.h"

#include <charconv>
#include <cstdio>

namespace practice {

namespace {

// Codes of the newer start calls.
constexpr int kStarted = 0;
constexpr int kStartFailed = 1;
constexpr int kNoClient = 2;

// Zero when the text is not the number of an app.
std::uint32_t AppIdFrom(const std::string& text)
{
    const auto first = text.find_first_not_of(" \t\r\n");
    const auto last = text.find_last_not_of(" \t\r\n");
    if (first == std::string::npos) {
        return 0;
    }
    std::uint32_t number = 0;
    const char* const end = text.data() + last + 1;
    const auto read = std::from_chars(text.data() + first, end, number);
    return read.ec == std::errc() && read.ptr == end ? number : 0;
}

// Looked for where a real client looks for it.
std::uint32_t FindAppId()
{
    const std::uint32_t named = AppIdFrom(Environment("SteamAppId"));
    return named != 0 ? named : AppIdFrom(FileBytes("steam_appid.txt").value_or(""));
}

void Introduce(const std::filesystem::path& folder)
{
    static bool introduced = false;
    if (!introduced) {
        std::fprintf(stderr,
                     "Practice Workshop: this is a rehearsal, nothing goes to Steam. "
                     "Items are kept in %s\n",
                     folder.u8string().c_str());
        OpenItemsForPages(folder);
    }
    introduced = true;
}

} // namespace

Workshop& TheWorkshop()
{
    static auto* const workshop = new Workshop;
    return *workshop;
}

StartOutcome Workshop::Start()
{
    if (started) {
        return {kStarted, ""};
    }
    StartOutcome outcome = TryToStart();
    started = outcome.code == kStarted;
    if (started) {
        ++start_number;
    } else {
        Trouble("the start fails: " + outcome.reason);
    }
    return outcome;
}

StartOutcome Workshop::TryToStart()
{
    try {
        const std::filesystem::path folder = Store::DefaultFolder();
        Introduce(folder);
        store.Open(folder);
        KeepJournalIn(folder / "journal.txt");
    } catch (const std::exception& error) {
        return {kStartFailed, std::string("the store cannot be opened: ") + error.what()};
    }
    LookAtScriptFile();
    if (script.start_fails) {
        return {kNoClient, "rehearsed: no Steam client is running (\"start\" in practice.json)"};
    }
    app_id = FindAppId();
    if (app_id == 0) {
        return {kStartFailed, "no app id, neither in SteamAppId nor in steam_appid.txt"};
    }
    return {kStarted, ""};
}

void Workshop::Stop()
{
    calls.DropCalls();
    updates.clear();
    queries.clear();
    previews.Stop();
    started = false;
}

void Workshop::Reset()
{
    Stop();
    calls.ForgetEverything();
    script = Script();
    script_file = ScriptFile();
    previews.Behave(script.preview, script.preview_delay);
    last_update = 1000;
    last_query = 2000;
    app_id = 0;
    ClearJournal();
    ForgetMistakes();
    KeepJournalIn({});
}

bool Workshop::Control(const char* json)
{
    const bool all_taken = script.Apply(json != nullptr ? json : "", "control");
    previews.Behave(script.preview, script.preview_delay);
    return all_taken;
}

void Workshop::LookAtScriptFile()
{
    if (script_file.Look(store.Folder() / "practice.json", script)) {
        previews.Behave(script.preview, script.preview_delay);
    }
}

bool Workshop::Lacks(const std::string& version) const
{
    const bool lacks = script.missing_interfaces.count(version) > 0;
    if (lacks) {
        Trouble("rehearsed: the client has no " + version
                + " (\"missing_interfaces\" in practice.json)");
    }
    return lacks;
}

} // namespace practice
