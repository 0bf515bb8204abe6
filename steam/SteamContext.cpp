#include "SteamContext.h"

#include "ISteamClient.h"
#include "ISteamUGC.h"
#include "SteamLibrary.h"

// All the interfaces of this age are asked for, as a client expects, although two are used. A
// client that has dropped an old one answers null for it, which must not take the Workshop with it.
SteamContext RequestInterfaces(const SteamFunctions& functions)
{
    const HSteamUser user = functions.SteamAPI_GetHSteamUser();
    const HSteamPipe pipe = functions.SteamAPI_GetHSteamPipe();
    if (pipe == 0)
        return {};

    auto* client =
        static_cast<ISteamClient*>(functions.SteamInternal_CreateInterface("SteamClient017"));
    SteamContext context;
    context.Client = client;
    if (!client)
        return context;

    context.User = client->GetISteamUser(user, pipe, "SteamUser019");
    client->GetISteamFriends(user, pipe, "SteamFriends015");
    client->GetISteamUtils(pipe, "SteamUtils008");
    client->GetISteamMatchmaking(user, pipe, "SteamMatchMaking009");
    client->GetISteamMatchmakingServers(user, pipe, "SteamMatchMakingServers002");
    client->GetISteamUserStats(user, pipe, "STEAMUSERSTATS_INTERFACE_VERSION011");
    client->GetISteamApps(user, pipe, "STEAMAPPS_INTERFACE_VERSION008");
    client->GetISteamNetworking(user, pipe, "SteamNetworking005");
    client->GetISteamRemoteStorage(user, pipe, "STEAMREMOTESTORAGE_INTERFACE_VERSION014");
    client->GetISteamScreenshots(user, pipe, "STEAMSCREENSHOTS_INTERFACE_VERSION003");
    client->GetISteamHTTP(user, pipe, "STEAMHTTP_INTERFACE_VERSION002");
    client->GetISteamUnifiedMessages(user, pipe, "STEAMUNIFIEDMESSAGES_INTERFACE_VERSION001");
    client->GetISteamController(user, pipe, "SteamController004");
    context.UGC =
        static_cast<ISteamUGC*>(client->GetISteamUGC(user, pipe, "STEAMUGC_INTERFACE_VERSION009"));
    client->GetISteamAppList(user, pipe, "STEAMAPPLIST_INTERFACE_VERSION001");
    client->GetISteamMusic(user, pipe, "STEAMMUSIC_INTERFACE_VERSION001");
    client->GetISteamMusicRemote(user, pipe, "STEAMMUSICREMOTE_INTERFACE_VERSION001");
    client->GetISteamHTMLSurface(user, pipe, "STEAMHTMLSURFACE_INTERFACE_VERSION_003");
    client->GetISteamInventory(user, pipe, "STEAMINVENTORY_INTERFACE_V001");
    client->GetISteamVideo(user, pipe, "STEAMVIDEO_INTERFACE_V001");
    return context;
}
