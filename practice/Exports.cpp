// The functions that a program finds in the library by name.

#include "Guard.h"
#include "Interfaces.h"
#include "Journal.h"
#include "Workshop.h"

#include <algorithm>
#include <cstring>

#if defined(_WIN32)
#define PRACTICE_EXPORT extern "C" __declspec(dllexport)
#else
#define PRACTICE_EXPORT extern "C" __attribute__((visibility("default")))
#endif

using namespace practice;

namespace {

constexpr auto kClientVersion = "SteamClient017";

bool StartedFor(const char* function)
{
    if (!TheWorkshop().Started()) {
        Mistake(std::string(function) + " while the library is not started");
        return false;
    }
    return true;
}

// The handle while the library is started. Asking before the start is allowed: the
// answer 0 is how a program learns that there is none.
int HandleAnswer(const char* function, int handle_when_started)
{
    return Guarded(0, [&] {
        const int handle = TheWorkshop().Started() ? handle_when_started : 0;
        Note(CallText(function) + " = " + Shown(handle));
        return handle;
    });
}

bool StartPlain(const char* function)
{
    return Guarded(false, [&] {
        const StartOutcome outcome = TheWorkshop().Start();
        Note(CallText(function) + " = " + Shown(outcome.code == 0));
        return outcome.code == 0;
    });
}

#if defined(PRACTICE_NEW_LIBRARY)

constexpr std::size_t kReasonSize = 1024;
constexpr int kStartFailed = 1;

std::string NullOr(const void* pointer, const char* word)
{
    return pointer != nullptr ? word : "null";
}

int StartWithReason(const std::string& call, char* reason)
{
    const StartOutcome outcome = TheWorkshop().Start();
    if (reason != nullptr) {
        const std::size_t length = std::min(outcome.reason.size(), kReasonSize - 1);
        std::memcpy(reason, outcome.reason.data(), length);
        reason[length] = '\0';
    }
    Note(call + " = " + Shown(outcome.code));
    return outcome.code;
}

#endif

} // namespace

#if defined(PRACTICE_NEW_LIBRARY)

PRACTICE_EXPORT int SteamAPI_InitFlat(char* reason)
{
    return Guarded(kStartFailed, [&] {
        return StartWithReason(CallText("SteamAPI_InitFlat", NullOr(reason, "errors")), reason);
    });
}

// The list of versions is not compared: a program that wants that check asks for its interfaces.
PRACTICE_EXPORT int SteamInternal_SteamAPI_Init(const char* versions, char* reason)
{
    return Guarded(kStartFailed, [&] {
        return StartWithReason(CallText("SteamInternal_SteamAPI_Init", NullOr(versions, "versions"),
                                        NullOr(reason, "errors")),
                               reason);
    });
}

#else

PRACTICE_EXPORT bool SteamAPI_Init()
{
    return StartPlain("SteamAPI_Init");
}

#endif

PRACTICE_EXPORT bool SteamAPI_InitSafe()
{
    return StartPlain("SteamAPI_InitSafe");
}

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
        const bool started = StartedFor("SteamAPI_RunCallbacks");
        NotePolled("SteamAPI_RunCallbacks", "SteamAPI_RunCallbacks()");
        if (started) {
            TheWorkshop().calls.Pump();
        }
    });
}

PRACTICE_EXPORT void SteamAPI_RegisterCallResult(void* object, std::uint64_t call)
{
    // Without a start there is no call to register for, which is told as that.
    GuardedVoid([&] { TheWorkshop().calls.Register(object, call); });
}

// Allowed at any time: registrations outlive a shutdown, and their objects must be able to go.
PRACTICE_EXPORT void SteamAPI_UnregisterCallResult(void* object, std::uint64_t call)
{
    GuardedVoid([&] { TheWorkshop().calls.Unregister(object, call); });
}

PRACTICE_EXPORT std::int32_t SteamAPI_GetHSteamUser()
{
    return HandleAnswer("SteamAPI_GetHSteamUser", kUser);
}

PRACTICE_EXPORT std::int32_t SteamAPI_GetHSteamPipe()
{
    return HandleAnswer("SteamAPI_GetHSteamPipe", kPipe);
}

PRACTICE_EXPORT void* SteamInternal_CreateInterface(const char* version)
{
    return Guarded(static_cast<void*>(nullptr), [&]() -> void* {
        bool right = StartedFor("SteamInternal_CreateInterface");
        if (version == nullptr) {
            Mistake("SteamInternal_CreateInterface with a null version");
            right = false;
        }
        right = right && std::strcmp(version, kClientVersion) == 0 && !TheWorkshop().Lacks(version);
        Note(CallText("SteamInternal_CreateInterface", version) + (right ? " = ok" : " = null"));
        return right ? InterfaceOfThisStart("ISteamClient", ClientTable()) : nullptr;
    });
}

// Programs that keep their own table of interfaces never call it, so how it would fill one for
// them is not rehearsed.
PRACTICE_EXPORT void* SteamInternal_ContextInit(void*)
{
    return Guarded(static_cast<void*>(nullptr), []() -> void* {
        Mistake("SteamInternal_ContextInit is not rehearsed");
        return nullptr;
    });
}

// 1 when everything was taken over, 0 when something was wrong and left out.
PRACTICE_EXPORT int PracticeWorkshop_Control(const char* json)
{
    return Guarded(0, [&] { return TheWorkshop().Control(json) ? 1 : 0; });
}

// Valid until the next call of the library.
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

void TellOutlivingRegistrations() noexcept
{
    GuardedVoid([] {
        const int alive = TheWorkshop().calls.LiveRegistrations();
        if (alive > 0) {
            Mistake(std::to_string(alive) + " registration(s) outlive the program");
        }
    });
}

// When the library is unloaded, which is after the program's own global objects are gone: their
// destructors may still unregister.
#if defined(_MSC_VER)
struct AtUnload
{
    ~AtUnload() { TellOutlivingRegistrations(); }
};
const AtUnload at_unload;
#else
__attribute__((destructor)) void AtUnload()
{
    TellOutlivingRegistrations();
}
#endif

} // namespace
