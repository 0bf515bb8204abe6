#include <array>

// A Steam library that starts and then does nothing, so that neither Steam's own weight nor that of
// the Practice Workshop counts for the program's.
namespace {

void* any_interface();

/// What every method of every interface is: it answers with an interface.
void* any_method(void* /*self*/)
{
    return any_interface();
}

void* any_interface()
{
    using Method = void* (*)(void*);
    static const std::array<Method, 64> table = [] {
        std::array<Method, 64> methods{};
        methods.fill(any_method);
        return methods;
    }();
    static const Method* object = table.data();
    return &object;
}

} // namespace

extern "C" {

bool SteamAPI_Init()
{
    return true;
}

void SteamAPI_Shutdown()
{}
void SteamAPI_RunCallbacks()
{}
void SteamAPI_RegisterCallResult(void* /*holder*/, unsigned long long /*call*/)
{}
void SteamAPI_UnregisterCallResult(void* /*holder*/, unsigned long long /*call*/)
{}

int SteamAPI_GetHSteamUser()
{
    return 1;
}

int SteamAPI_GetHSteamPipe()
{
    return 1;
}

void* SteamInternal_CreateInterface(const char* /*version*/)
{
    return any_interface();
}

} // extern "C"
