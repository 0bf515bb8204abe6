#pragma once

#include "CallResults.h"
#include "Script.h"
#include "Store.h"
#include "Upload.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace practice {

/// An update that the caller is filling in, or that is on its way.
struct ItemUpdate
{
    UpdateFields fields;
    std::unique_ptr<Upload> upload; // null until it is submitted
};

struct ItemQuery
{
    std::vector<std::uint64_t> items;
    bool answered = false;
};

/// Everything that this process has with the library.
class Workshop
{
public:
    /// Why it fails; empty when it does not.
    std::string Start();
    void Stop();

    /// Back to the state of a fresh process; what is on disk stays.
    void Reset();

    bool Started() const { return started; }
    unsigned StartNumber() const { return start_number; }
    std::uint32_t AppId() const { return app_id; }

    /// Takes over what was scripted since.
    void LookAtScriptFile() { script_file.Look(store.Folder() / "practice.json", script); }

    /// True, and reported, when the script wants the client to lack this interface.
    bool Lacks(const std::string& version) const;

    /// One pump's share of a call, as long as its result is success; an answer when it is through.
    /// Any other result is to be answered at once. May throw why it fails.
    using Work = std::function<std::optional<Answer>(int result)>;

    /// Begins a call as the script wants it, and returns its number, 0 when it is not accepted. The
    /// store's log names it by `what` when it fails.
    std::uint64_t BeginCall(const std::string& kind, const std::string& what, int callback_id,
                            const Work& work);

    Store store;
    Script script;
    CallResults calls;
    std::map<std::uint64_t, ItemUpdate> updates;
    std::map<std::uint64_t, ItemQuery> queries;
    std::uint64_t last_update = 1000;
    std::uint64_t last_query = 2000;

private:
    std::string try_to_start();

    ScriptFile script_file;
    bool started = false;
    unsigned start_number = 0; // never the same twice, not even after a reset
    std::uint32_t app_id = 0;
};

Workshop& TheWorkshop();

} // namespace practice
