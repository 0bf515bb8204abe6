// The functions that a program finds in the library by name.

#include "Answered.h"
#include "Interfaces.h"
#include "Journal.h"
#include "Workshop.h"

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
    return Answered(function, [] { return TheWorkshop().Start().empty(); });
}

#endif
#if defined(PRACTICE_START_FLAT) || defined(PRACTICE_START_INTERNAL)

constexpr std::size_t reason_size = 1024;

int start_with_reason(const char* function, char* reason)
{
    return Answered(function, [reason] {
        const std::string problem = TheWorkshop().Start();
        std::snprintf(reason, reason_size, "%s", problem.c_str());
        return problem.empty() ? 0 : 2; // there is no client
    });
}

#endif

} // namespace

#if defined(PRACTICE_START_PLAIN)

const bool practice::new_library = false;

PRACTICE_EXPORT bool SteamAPI_Init() noexcept
{
    return start_plain("SteamAPI_Init");
}

#else

const bool practice::new_library = true;

#endif
#if defined(PRACTICE_START_FLAT)

PRACTICE_EXPORT int SteamAPI_InitFlat(char* reason) noexcept
{
    return start_with_reason("SteamAPI_InitFlat", reason);
}

#endif
#if defined(PRACTICE_START_INTERNAL)

/// No list of versions is compared, so any list counts as one that does not match.
PRACTICE_EXPORT int SteamInternal_SteamAPI_Init(const char* versions, char* reason) noexcept
{
    if (versions != nullptr)
        return 3; // a version mismatch
    return start_with_reason("SteamInternal_SteamAPI_Init", reason);
}

#endif
#if defined(PRACTICE_START_SAFE)

PRACTICE_EXPORT bool SteamAPI_InitSafe() noexcept
{
    const bool started = start_plain("SteamAPI_InitSafe");
    std::fputs("SteamAPI_InitSafe is through", stderr); // some libraries end with no line feed
    return started;
}

#endif

PRACTICE_EXPORT void SteamAPI_Shutdown() noexcept
{
    Note("SteamAPI_Shutdown()");
    TheWorkshop().Stop();
}

PRACTICE_EXPORT void SteamAPI_RunCallbacks() noexcept
{
    if (!TheWorkshop().Started())
        Mistake("SteamAPI_RunCallbacks while the library is not started");
    NotePolled("SteamAPI_RunCallbacks()");
    TheWorkshop().calls.Pump(); // without a start there are no calls
}

/// Without a start there is no call to register for, which is reported as that.
PRACTICE_EXPORT void SteamAPI_RegisterCallResult(void* object, std::uint64_t call) noexcept
{
    TheWorkshop().calls.Register(object, call);
}

/// Allowed at any time: registrations outlive a shutdown, and their objects must be able to go.
PRACTICE_EXPORT void SteamAPI_UnregisterCallResult(void* object, std::uint64_t call) noexcept
{
    TheWorkshop().calls.Unregister(object, call);
}

/// Asking for handles before the start is allowed: the answer 0 is how a program learns that there
/// are none.
PRACTICE_EXPORT std::int32_t SteamAPI_GetHSteamUser() noexcept
{
    return Answered("SteamAPI_GetHSteamUser",
                    [] { return TheWorkshop().Started() ? the_user : 0; });
}

PRACTICE_EXPORT std::int32_t SteamAPI_GetHSteamPipe() noexcept
{
    return Answered("SteamAPI_GetHSteamPipe",
                    [] { return TheWorkshop().Started() ? the_pipe : 0; });
}

PRACTICE_EXPORT void* SteamInternal_CreateInterface(const char* version) noexcept
{
    const auto create = [version]() -> void* {
        if (!TheWorkshop().Started()) {
            Mistake("SteamInternal_CreateInterface while the library is not started");
            return nullptr;
        }
        const bool offered =
            std::strcmp(version, client_version) == 0 && !TheWorkshop().Lacks(version);
        return offered ? InterfaceOfThisStart("ISteamClient", ClientTable()) : nullptr;
    };
    return Answered("SteamInternal_CreateInterface", create, version);
}

/// 1 when everything was taken over, 0 when something was wrong and left out.
PRACTICE_EXPORT int PracticeWorkshop_Control(const char* json) noexcept
{
    return TheWorkshop().script.Apply(json, "control") ? 1 : 0;
}

/// Valid until the next call of the library.
PRACTICE_EXPORT const char* PracticeWorkshop_Journal() noexcept
{
    return JournalText().c_str();
}

PRACTICE_EXPORT void PracticeWorkshop_ClearJournal() noexcept
{
    ClearJournal();
}

PRACTICE_EXPORT int PracticeWorkshop_Mistakes() noexcept
{
    return MistakeCount();
}

PRACTICE_EXPORT int PracticeWorkshop_LiveRegistrations() noexcept
{
    return TheWorkshop().calls.LiveRegistrations();
}

PRACTICE_EXPORT void PracticeWorkshop_Reset() noexcept
{
    TheWorkshop().Reset();
}
