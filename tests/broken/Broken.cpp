// Libraries that cannot serve as the Steam library: one with none of its functions, one that depends on
// something nobody has, and two with all functions but a start of one special kind and nothing behind it.

#include <cstdio>

#if defined(_WIN32)
#define EXPORT extern "C" __declspec(dllexport)
#else
#define EXPORT extern "C" __attribute__((visibility("default")))
#endif

#if defined(UNRESOLVED)
extern "C" void nobody_has_this();
EXPORT void SteamAPI_RunCallbacks() { nobody_has_this(); }
#elif defined(INCOMPLETE)
EXPORT void something_else() {}
#else
EXPORT void SteamAPI_Shutdown() {}
EXPORT void SteamAPI_RunCallbacks() {}
EXPORT void SteamAPI_RegisterCallResult(void*, unsigned long long) {}
EXPORT void SteamAPI_UnregisterCallResult(void*, unsigned long long) {}
EXPORT int SteamAPI_GetHSteamUser() { return 0; }
EXPORT int SteamAPI_GetHSteamPipe() { return 0; }
EXPORT void* SteamInternal_CreateInterface(const char*) { return nullptr; }
#endif

#if defined(INTERNAL_START) // succeeds for a null list of versions only
EXPORT int SteamInternal_SteamAPI_Init(const char* versions, char*) { return versions ? 3 : 0; }
#elif defined(SAFE_START)
EXPORT bool SteamAPI_InitSafe()
{
    std::fputs("an unfinished line; ", stderr);
    return false;
}
#endif
