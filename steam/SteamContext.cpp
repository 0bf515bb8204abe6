#include "steam/SteamContext.h"

#include "steam/ISteamClient.h"
#include "steam/ISteamUGC.h"
#include "steam/SteamLibrary.h"

// A client that has dropped an old interface answers null for it. The rest is asked for all the
// same, so that an interface the program never uses cannot take the Workshop with it.
bool FillSteamContext(const SteamFunctions& functions, SteamContext& context)
{
    const HSteamUser user = functions.SteamAPI_GetHSteamUser();
    const HSteamPipe pipe = functions.SteamAPI_GetHSteamPipe();
    if (pipe == 0)
        return false;

    auto* client =
        static_cast<ISteamClient*>(functions.SteamInternal_CreateInterface("SteamClient017"));
    context = SteamContext{};
    context.Client = client;
    if (!client)
        return true;

    context.User = client->GetISteamUser(user, pipe, "SteamUser019");
    context.Friends = client->GetISteamFriends(user, pipe, "SteamFriends015");
    context.Utils = client->GetISteamUtils(pipe, "SteamUtils008");
    context.Matchmaking = client->GetISteamMatchmaking(user, pipe, "SteamMatchMaking009");
    context.MatchmakingServers =
        client->GetISteamMatchmakingServers(user, pipe, "SteamMatchMakingServers002");
    context.UserStats =
        client->GetISteamUserStats(user, pipe, "STEAMUSERSTATS_INTERFACE_VERSION011");
    context.Apps = client->GetISteamApps(user, pipe, "STEAMAPPS_INTERFACE_VERSION008");
    context.Networking = client->GetISteamNetworking(user, pipe, "SteamNetworking005");
    context.RemoteStorage =
        client->GetISteamRemoteStorage(user, pipe, "STEAMREMOTESTORAGE_INTERFACE_VERSION014");
    context.Screenshots =
        client->GetISteamScreenshots(user, pipe, "STEAMSCREENSHOTS_INTERFACE_VERSION003");
    context.HTTP = client->GetISteamHTTP(user, pipe, "STEAMHTTP_INTERFACE_VERSION002");
    context.UnifiedMessages =
        client->GetISteamUnifiedMessages(user, pipe, "STEAMUNIFIEDMESSAGES_INTERFACE_VERSION001");
    context.Controller = client->GetISteamController(user, pipe, "SteamController004");
    context.UGC =
        static_cast<ISteamUGC*>(client->GetISteamUGC(user, pipe, "STEAMUGC_INTERFACE_VERSION009"));
    context.AppList = client->GetISteamAppList(user, pipe, "STEAMAPPLIST_INTERFACE_VERSION001");
    context.Music = client->GetISteamMusic(user, pipe, "STEAMMUSIC_INTERFACE_VERSION001");
    context.MusicRemote =
        client->GetISteamMusicRemote(user, pipe, "STEAMMUSICREMOTE_INTERFACE_VERSION001");
    context.HTMLSurface =
        client->GetISteamHTMLSurface(user, pipe, "STEAMHTMLSURFACE_INTERFACE_VERSION_003");
    context.Inventory = client->GetISteamInventory(user, pipe, "STEAMINVENTORY_INTERFACE_V001");
    context.Video = client->GetISteamVideo(user, pipe, "STEAMVIDEO_INTERFACE_V001");
    return true;
}
