#pragma once

class ISteamClient;
class ISteamUGC;
struct SteamFunctions;

/// The interface pointers that the program uses; null where Steam has none to give.
///
/// They belong to Steam and are dead after `SteamAPI_Shutdown`.
struct SteamContext
{
    ISteamClient* Client = nullptr;
    /// Only shows that a user is there; nothing of it is called.
    void* User = nullptr;
    ISteamUGC* UGC = nullptr;
};

/// Asks Steam for every interface. All pointers are null when Steam gives out no pipe.
SteamContext RequestInterfaces(const SteamFunctions& functions);
