// The functions that a program finds in the library by name.

#include "Guard.h"
#include "Interfaces.h"
#include "Journal.h"
#include "Workshop.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#if defined(_WIN32)
#define PRACTICE_EXPORT extern "C" __declspec(dllexport)
#else
#define PRACTICE_EXPORT extern "C" __attribute__((visibility("default")))
#endif

using namespace practice;

namespace {

constexpr auto client_version = "SteamClient017";

// The functions with which a library can be started have changed over the years, so a build has
// some of them: PRACTICE_START_PLAIN, _FLAT, _INTERNAL and _SAFE.
#if defined(PRACTICE_START_PLAIN) || defined(PRACTICE_START_SAFE)

bool start_plain(const char* function)
{
    return Answered(function, false, [] { return TheWorkshop().Start().code == 0; });
}

#endif
#if defined(PRACTICE_START_FLAT) || defined(PRACTICE_START_INTERNAL)

constexpr std::size_t reason_size = 1024;
constexpr int start_failed = 1;

int start_with_reason(const char* function, char* reason)
{
    return Answered(function, start_failed, [reason] {
        const StartOutcome outcome = TheWorkshop().Start();
        if (reason != nullptr) {
            const std::size_t length = std::min(outcome.reason.size(), reason_size - 1);
            std::memcpy(reason, outcome.reason.data(), length);
            reason[length] = '\0';
        }
        return outcome.code;
    });
}

#endif

} // namespace

#if defined(PRACTICE_START_PLAIN)

const bool practice::new_library = false;

PRACTICE_EXPORT bool SteamAPI_Init()
{
    return start_plain("SteamAPI_Init");
}

#else

const bool practice::new_library = true;

#endif
#if defined(PRACTICE_START_FLAT)

PRACTICE_EXPORT int SteamAPI_InitFlat(char* reason)
{
    return start_with_reason("SteamAPI_InitFlat", reason);
}

#endif
#if defined(PRACTICE_START_INTERNAL)

/// No list of versions is compared, so any list counts as one that does not match.
PRACTICE_EXPORT int SteamInternal_SteamAPI_Init(const char* versions, char* reason)
{
    if (versions != nullptr)
        return 3; // a version mismatch
    return start_with_reason("SteamInternal_SteamAPI_Init", reason);
}

#endif
#if defined(PRACTICE_START_SAFE)

PRACTICE_EXPORT bool SteamAPI_InitSafe()
{
    const bool started = start_plain("SteamAPI_InitSafe");
    if (!started)
        std::fputs("SteamAPI_InitSafe failed", stderr); // some libraries end with no line feed
    return started;
}

#endif

PRACTICE_EXPORT void SteamAPI_Shutdown()
{
    GuardedVoid([] {
        Note("SteamAPI_Shutdown()");
        TheWorkshop().Stop();
    });
}

PRACTICE_EXPORT void SteamAPI_RunCallbacks()
{
    GuardedVoid([] {
        if (!TheWorkshop().Started())
            Mistake("SteamAPI_RunCallbacks while the library is not started");
        NotePolled("SteamAPI_RunCallbacks()");
        TheWorkshop().calls.Pump(); // without a start there are no calls
    });
}

/// Without a start there is no call to register for, which is reported as that.
PRACTICE_EXPORT void SteamAPI_RegisterCallResult(void* object, std::uint64_t call)
{
    GuardedVoid([&] { TheWorkshop().calls.Register(object, call); });
}

/// Allowed at any time: registrations outlive a shutdown, and their objects must be able to go.
PRACTICE_EXPORT void SteamAPI_UnregisterCallResult(void* object, std::uint64_t call)
{
    GuardedVoid([&] { TheWorkshop().calls.Unregister(object, call); });
}

/// Asking for handles before the start is allowed: the answer 0 is how a program learns that there
/// are none.
PRACTICE_EXPORT std::int32_t SteamAPI_GetHSteamUser()
{
    return Answered("SteamAPI_GetHSteamUser", 0,
                    [] { return TheWorkshop().Started() ? the_user : 0; });
}

PRACTICE_EXPORT std::int32_t SteamAPI_GetHSteamPipe()
{
    return Answered("SteamAPI_GetHSteamPipe", 0,
                    [] { return TheWorkshop().Started() ? the_pipe : 0; });
}

PRACTICE_EXPORT void* SteamInternal_CreateInterface(const char* version)
{
    const auto create = [version]() -> void* {
        if (!TheWorkshop().Started() || version == nullptr) {
            Mistake("an interface is wanted without a start or without a version");
            return nullptr;
        }
        const bool offered =
            std::strcmp(version, client_version) == 0 && !TheWorkshop().Lacks(version);
        return offered ? InterfaceOfThisStart("ISteamClient", ClientTable()) : nullptr;
    };
    return Answered("SteamInternal_CreateInterface", static_cast<void*>(nullptr), create, version);
}

/// Programs that keep their own table of interfaces never call it, so how it would fill one for
/// them is not rehearsed.
PRACTICE_EXPORT void* SteamInternal_ContextInit(void*)
{
    GuardedVoid([] { Mistake("SteamInternal_ContextInit is not rehearsed"); });
    return nullptr;
}

/// 1 when everything was taken over, 0 when something was wrong and left out.
PRACTICE_EXPORT int PracticeWorkshop_Control(const char* json)
{
    return Guarded(0, [json] { return TheWorkshop().script.Apply(json, "control") ? 1 : 0; });
}

/// Valid until the next call of the library.
PRACTICE_EXPORT const char* PracticeWorkshop_Journal()
{
    return JournalText().c_str();
}

PRACTICE_EXPORT void PracticeWorkshop_ClearJournal()
{
    ClearJournal();
}

PRACTICE_EXPORT int PracticeWorkshop_Mistakes()
{
    return MistakeCount();
}

PRACTICE_EXPORT int PracticeWorkshop_LiveRegistrations()
{
    return TheWorkshop().calls.LiveRegistrations();
}

PRACTICE_EXPORT void PracticeWorkshop_Reset()
{
    GuardedVoid([] { TheWorkshop().Reset(); });
}

namespace {

void report_outliving_registrations() noexcept
{
    GuardedVoid([] {
        const int alive = TheWorkshop().calls.LiveRegistrations();
        if (alive > 0)
            Mistake(std::to_string(alive) + " registration(s) outlive the program");
    });
}

// When the library is unloaded, which is after the program's own global objects are destroyed:
// their destructors may still unregister.
#if defined(_MSC_VER)
struct AtUnload
{
    ~AtUnload() { report_outliving_registrations(); }
};
const AtUnload at_unload;
#else
__attribute__((destructor)) void at_unload()
{
    report_outliving_registrations();
}
#endif

} // namespace
