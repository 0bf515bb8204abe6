#pragma once

#include "SteamTypes.h"

/// The root interface, version "SteamClient017": every other interface is asked for here.
///
/// The object belongs to the Steam library. What counts is the place of each method in its table:
/// the order must not change, nothing may be overloaded (compilers order overloads differently) and
/// no destructor may be virtual (it would shift every slot by two). Methods that the program never
/// calls stand without their arguments; they only keep their slot.
class ISteamClient
{
public:
    virtual void CreateSteamPipe() = 0;                                      // slot 0
    virtual void BReleaseSteamPipe() = 0;                                    // 1
    virtual void ConnectToGlobalUser() = 0;                                  // 2
    virtual void CreateLocalUser() = 0;                                      // 3
    virtual void ReleaseUser() = 0;                                          // 4
    virtual void* GetISteamUser(HSteamUser, HSteamPipe, const char*) = 0;    // 5
    virtual void GetISteamGameServer() = 0;                                  // 6
    virtual void SetLocalIPBinding() = 0;                                    // 7
    virtual void* GetISteamFriends(HSteamUser, HSteamPipe, const char*) = 0; // 8
    /// The only getter without a user.
    virtual void* GetISteamUtils(HSteamPipe, const char*) = 0;                          // 9
    virtual void* GetISteamMatchmaking(HSteamUser, HSteamPipe, const char*) = 0;        // 10
    virtual void* GetISteamMatchmakingServers(HSteamUser, HSteamPipe, const char*) = 0; // 11
    virtual void GetISteamGenericInterface() = 0;                                       // 12
    virtual void* GetISteamUserStats(HSteamUser, HSteamPipe, const char*) = 0;          // 13
    virtual void GetISteamGameServerStats() = 0;                                        // 14
    virtual void* GetISteamApps(HSteamUser, HSteamPipe, const char*) = 0;               // 15
    virtual void* GetISteamNetworking(HSteamUser, HSteamPipe, const char*) = 0;         // 16
    virtual void* GetISteamRemoteStorage(HSteamUser, HSteamPipe, const char*) = 0;      // 17
    virtual void* GetISteamScreenshots(HSteamUser, HSteamPipe, const char*) = 0;        // 18
    virtual void RunFrame() = 0;                                                        // 19
    virtual void GetIPCCallCount() = 0;                                                 // 20
    virtual void SetWarningMessageHook() = 0;                                           // 21
    virtual void BShutdownIfAllPipesClosed() = 0;                                       // 22
    virtual void* GetISteamHTTP(HSteamUser, HSteamPipe, const char*) = 0;               // 23
    virtual void* GetISteamUnifiedMessages(HSteamUser, HSteamPipe, const char*) = 0;    // 24
    virtual void* GetISteamController(HSteamUser, HSteamPipe, const char*) = 0;         // 25
    virtual void* GetISteamUGC(HSteamUser, HSteamPipe, const char*) = 0;                // 26
    virtual void* GetISteamAppList(HSteamUser, HSteamPipe, const char*) = 0;            // 27
    virtual void* GetISteamMusic(HSteamUser, HSteamPipe, const char*) = 0;              // 28
    virtual void* GetISteamMusicRemote(HSteamUser, HSteamPipe, const char*) = 0;        // 29
    virtual void* GetISteamHTMLSurface(HSteamUser, HSteamPipe, const char*) = 0;        // 30
    virtual void SetPostResultHook() = 0;                                               // 31
    virtual void RemovePostResultHook() = 0;                                            // 32
    virtual void SetCallbackCheck() = 0;                                                // 33
    virtual void* GetISteamInventory(HSteamUser, HSteamPipe, const char*) = 0;          // 34
    virtual void* GetISteamVideo(HSteamUser, HSteamPipe, const char*) = 0;              // 35

protected:
    ~ISteamClient() = default;
};
