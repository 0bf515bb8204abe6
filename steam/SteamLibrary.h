#pragma once

#include "SteamTypes.h"

#include <QString>

#include <optional>

class CallResultBase;

/// The functions that the program uses of the Steam API library, in the platform's C convention.
///
/// Libraries of different years export different start functions; at least one of the four is set.
/// All other members are never null.
struct SteamFunctions
{
    bool (*SteamAPI_Init)() = nullptr;
    int (*SteamAPI_InitFlat)(char* reason) = nullptr;
    int (*SteamInternal_SteamAPI_Init)(const char* versions, char* reason) = nullptr;
    bool (*SteamAPI_InitSafe)() = nullptr;

    void (*SteamAPI_Shutdown)() = nullptr;
    void (*SteamAPI_RunCallbacks)() = nullptr;
    void (*SteamAPI_RegisterCallResult)(CallResultBase* holder, SteamAPICall_t call) = nullptr;
    void (*SteamAPI_UnregisterCallResult)(CallResultBase* holder, SteamAPICall_t call) = nullptr;
    HSteamUser (*SteamAPI_GetHSteamUser)() = nullptr;
    HSteamPipe (*SteamAPI_GetHSteamPipe)() = nullptr;
    void* (*SteamInternal_CreateInterface)(const char* version) = nullptr;
};

/// The file name that the Steam API library has on this platform.
QString SteamLibraryFileName();

/// Loads the library at the absolute path `path` and resolves its functions, all or none.
///
/// On failure returns nothing and sets `problem` to one plain sentence that names the file and what
/// is wrong with it, all missing functions together. A library that was loaded stays loaded until
/// the process ends.
std::optional<SteamFunctions> LoadSteamLibrary(const QString& path, QString& problem);
