#include "Workshop.h"

#include "Journal.h"
#include "Platform.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

namespace practice {

namespace {

void introduce(const std::filesystem::path& folder)
{
    static bool introduced = false;
    if (std::exchange(introduced, true))
        return;
    std::fprintf(stderr,
                 "Practice Workshop: this is a rehearsal, nothing goes to Steam. "
                 "Items are kept in %s\n",
                 folder.u8string().c_str());
    OpenItemsForPages(folder);
}

} // namespace

Workshop& TheWorkshop()
{
    static auto* const workshop = new Workshop;
    return *workshop;
}

std::string Workshop::Start()
{
    const std::string problem = try_to_start();
    started = problem.empty();
    if (started)
        ++start_number;
    else
        Trouble("the start fails: " + problem);
    return problem;
}

std::string Workshop::try_to_start()
{
    try {
        const std::filesystem::path folder = Store::DefaultFolder();
        introduce(folder);
        store.Open(folder);
        KeepJournalIn(folder / "journal.txt");
    } catch (const std::exception& error) {
        return std::string("the store cannot be opened: ") + error.what();
    }
    LookAtScriptFile();
    if (script.start_fails)
        return "rehearsed: no Steam client is running (\"start\" in practice.json)";
    const std::string app = Environment("SteamAppId");
    app_id = static_cast<std::uint32_t>(std::strtoul(app.c_str(), nullptr, 10));
    return "";
}

void Workshop::Stop()
{
    calls.DropCalls();
    updates.clear();
    queries.clear();
    started = false;
}

void Workshop::Reset()
{
    Stop();
    const unsigned starts = start_number; // by which objects of former starts are known
    *this = Workshop();
    start_number = starts;
    ForgetJournal();
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

std::uint64_t Workshop::BeginCall(const std::string& kind, const std::string& what, int callback_id,
                                  const Work& work)
{
    LookAtScriptFile();
    if (Script::Consume(script.refusals, kind))
        return 0;
    const int result = script.NextResult(kind);
    const bool silent = Script::Consume(script.silences, kind);
    const bool io_failure = Script::Consume(script.io_failures, kind);
    int pumps_left = kind == "submit" ? 1 : script.answer_after_pumps;
    return calls.Add(callback_id, [=]() mutable -> std::optional<Answer> {
        if (silent || --pumps_left > 0)
            return std::nullopt;
        int failure = result == result_ok ? result_failure : result;
        std::string reason = io_failure ? "rehearsed: the call itself failed" : "rehearsed";
        try {
            if (result == result_ok && !io_failure)
                return work(result_ok);
        } catch (const Refusal& refusal) {
            failure = refusal.result;
            reason = refusal.what();
        } catch (const std::exception& error) {
            reason = error.what();
        }
        std::optional<Answer> answer = work(failure);
        answer->io_failure = io_failure;
        store.Log(what, failure, reason); // last, because before this a full disk may have no room
        return answer;
    });
}

} // namespace practice
