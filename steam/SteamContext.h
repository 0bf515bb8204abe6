#pragma once

class ISteamClient;
class ISteamUGC;
struct SteamFunctions;

/// The table of interface pointers that Steam hands out; null where Steam has none to give.
///
/// The pointers belong to Steam and are dead after `SteamAPI_Shutdown`.
struct SteamContext
{
    ISteamClient* Client = nullptr;
    void* User = nullptr;
    void* Friends = nullptr;
    void* Utils = nullptr;
    void* Matchmaking = nullptr;
    void* MatchmakingServers = nullptr;
    void* UserStats = nullptr;
    void* Apps = nullptr;
    void* Networking = nullptr;
    void* RemoteStorage = nullptr;
    void* Screenshots = nullptr;
    void* HTTP = nullptr;
    void* UnifiedMessages = nullptr;
    void* Controller = nullptr;
    ISteamUGC* UGC = nullptr;
    void* AppList = nullptr;
    void* Music = nullptr;
    void* MusicRemote = nullptr;
    void* HTMLSurface = nullptr;
    void* Inventory = nullptr;
    void* Video = nullptr;
};

/// Asks Steam for every interface. Returns false, having asked for nothing, while Steam gives out
/// no pipe (it was not started).
bool FillSteamContext(const SteamFunctions& functions, SteamContext& context);
