#include "Guard.h"
#include "Interfaces.h"
#include "Journal.h"
#include "Ugc.h"
#include "Workshop.h"

#include <string>
#include <tuple>

namespace practice {

namespace {

constexpr std::size_t kClientSlots = 36;

// More than any interface has.
constexpr std::size_t kOtherSlots = 128;

// This library's one user, on its one pipe.

struct Offer
{
    std::size_t slot;
    const char* method;
    const char* name;
    const char* version;
};

constexpr std::array<Offer, 19> kOffers = {{
    {5, "GetISteamUser", "ISteamUser", "SteamUser019"},
    {8, "GetISteamFriends", "ISteamFriends", "SteamFriends015"},
    {10, "GetISteamMatchmaking", "ISteamMatchmaking", "SteamMatchMaking009"},
    {11, "GetISteamMatchmakingServers", "ISteamMatchmakingServers", "SteamMatchMakingServers002"},
    {13, "GetISteamUserStats", "ISteamUserStats", "STEAMUSERSTATS_INTERFACE_VERSION011"},
    {15, "GetISteamApps", "ISteamApps", "STEAMAPPS_INTERFACE_VERSION008"},
    {16, "GetISteamNetworking", "ISteamNetworking", "SteamNetworking005"},
    {17, "GetISteamRemoteStorage", "ISteamRemoteStorage",
     "STEAMREMOTESTORAGE_INTERFACE_VERSION014"},
    {18, "GetISteamScreenshots", "ISteamScreenshots", "STEAMSCREENSHOTS_INTERFACE_VERSION003"},
    {23, "GetISteamHTTP", "ISteamHTTP", "STEAMHTTP_INTERFACE_VERSION002"},
    {24, "GetISteamUnifiedMessages", "ISteamUnifiedMessages",
     "STEAMUNIFIEDMESSAGES_INTERFACE_VERSION001"},
    {25, "GetISteamController", "ISteamController", "SteamController004"},
    {26, "GetISteamUGC", "ISteamUGC", "STEAMUGC_INTERFACE_VERSION009"},
    {27, "GetISteamAppList", "ISteamAppList", "STEAMAPPLIST_INTERFACE_VERSION001"},
    {28, "GetISteamMusic", "ISteamMusic", "STEAMMUSIC_INTERFACE_VERSION001"},
    {29, "GetISteamMusicRemote", "ISteamMusicRemote", "STEAMMUSICREMOTE_INTERFACE_VERSION001"},
    {30, "GetISteamHTMLSurface", "ISteamHTMLSurface", "STEAMHTMLSURFACE_INTERFACE_VERSION_003"},
    {34, "GetISteamInventory", "ISteamInventory", "STEAMINVENTORY_INTERFACE_V001"},
    {35, "GetISteamVideo", "ISteamVideo", "STEAMVIDEO_INTERFACE_V001"},
}};

// The only one that is asked for without a user.
constexpr Offer kUtils = {9, "GetISteamUtils", "ISteamUtils", "SteamUtils008"};
constexpr std::size_t kUgcSlot = 26;

const void* const* UgcTable()
{
    static const UgcSlots* const table = [] {
        auto* const slots = new UgcSlots(UnrehearsedTable<std::tuple_size_v<UgcSlots>>());
        AddItemSlots(*slots);
        AddQuerySlots(*slots);
        return slots;
    }();
    return table->data();
}

const void* const* TableOf(const Offer& offer)
{
    static const auto* const others = new auto(UnrehearsedTable<kOtherSlots>());
    return offer.slot == kUgcSlot ? UgcTable() : others->data();
}

bool RightPlace(const Offer& offer, int user, int pipe)
{
    if (user != kUser || pipe != kPipe) {
        Mistake(std::string("ISteamClient::") + offer.method + " with a wrong user or pipe");
        return false;
    }
    return true;
}

Interface* Find(const Interface* self, const Offer& offer, int user, int pipe, const char* version)
{
    if (!InUse(self, offer.method) || !RightPlace(offer, user, pipe)) {
        return nullptr;
    }
    if (version == nullptr) {
        Mistake(std::string("ISteamClient::") + offer.method + " with a null version");
        return nullptr;
    }
    const bool offered = std::string(version) == offer.version && !TheWorkshop().Lacks(version);
    return offered ? InterfaceOfThisStart(offer.name, TableOf(offer)) : nullptr;
}

void* Handed(const std::string& call, Interface* found)
{
    Note(call + (found != nullptr ? " = ok" : " = null"));
    return found;
}

template<std::size_t Index>
void* GetInterface(Interface* self, int user, int pipe, const char* version) noexcept
{
    return Guarded(static_cast<void*>(nullptr), [&] {
        const Offer& offer = kOffers[Index];
        Interface* const found = Find(self, offer, user, pipe, version);
        return Handed(CallText(std::string("ISteamClient::") + offer.method, user, pipe, version),
                      found);
    });
}

void* GetUtils(Interface* self, int pipe, const char* version) noexcept
{
    return Guarded(static_cast<void*>(nullptr), [&] {
        Interface* const found = Find(self, kUtils, kUser, pipe, version);
        return Handed(CallText("ISteamClient::GetISteamUtils", pipe, version), found);
    });
}

template<std::size_t... Indices>
auto MakeTable(std::index_sequence<Indices...>)
{
    auto table = UnrehearsedTable<kClientSlots>();
    ((table[kOffers[Indices].slot] = AsSlot(&GetInterface<Indices>)), ...);
    table[kUtils.slot] = AsSlot(&GetUtils);
    return table;
}

} // namespace

const void* const* ClientTable()
{
    static const auto* const table =
        new auto(MakeTable(std::make_index_sequence<kOffers.size()>()));
    return table->data();
}

} // namespace practice
