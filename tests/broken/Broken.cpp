// Libraries that cannot serve as the Steam library, for the loader to refuse.

#if defined(_WIN32)
#define EXPORT extern "C" __declspec(dllexport)
#else
#define EXPORT extern "C" __attribute__((visibility("default")))
#endif

#if defined(UNRESOLVED)
extern "C" void nobody_has_this();
#endif

EXPORT void SteamAPI_RunCallbacks();
EXPORT void SteamAPI_RunCallbacks()
{
#if defined(UNRESOLVED)
    nobody_has_this();
#endif
}
