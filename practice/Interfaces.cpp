#include "Interfaces.h"

#include "Answered.h"
#include "Ugc.h"
#include "Workshop.h"

#include <map>
#include <string>
#include <tuple>
#include <utility>

namespace practice {

namespace {

constexpr std::size_t client_slot_count = 36;

/// More than any interface has.
constexpr std::size_t other_slot_count = 128;

/// What the client answers in one of its slots, to the method "Get" and the name.
struct Offer
{
    std::size_t slot;
    const char* name;
    const char* version;
};

constexpr Offer offers[] = {
    {5, "ISteamUser", "SteamUser019"},
    {8, "ISteamFriends", "SteamFriends015"},
    {10, "ISteamMatchmaking", "SteamMatchMaking009"},
    {11, "ISteamMatchmakingServers", "SteamMatchMakingServers002"},
    {13, "ISteamUserStats", "STEAMUSERSTATS_INTERFACE_VERSION011"},
    {15, "ISteamApps", "STEAMAPPS_INTERFACE_VERSION008"},
    {16, "ISteamNetworking", "SteamNetworking005"},
    {17, "ISteamRemoteStorage", "STEAMREMOTESTORAGE_INTERFACE_VERSION014"},
    {18, "ISteamScreenshots", "STEAMSCREENSHOTS_INTERFACE_VERSION003"},
    {23, "ISteamHTTP", "STEAMHTTP_INTERFACE_VERSION002"},
    {24, "ISteamUnifiedMessages", "STEAMUNIFIEDMESSAGES_INTERFACE_VERSION001"},
    {25, "ISteamController", "SteamController004"},
    {26, "ISteamUGC", "STEAMUGC_INTERFACE_VERSION009"},
    {27, "ISteamAppList", "STEAMAPPLIST_INTERFACE_VERSION001"},
    {28, "ISteamMusic", "STEAMMUSIC_INTERFACE_VERSION001"},
    {29, "ISteamMusicRemote", "STEAMMUSICREMOTE_INTERFACE_VERSION001"},
    {30, "ISteamHTMLSurface", "STEAMHTMLSURFACE_INTERFACE_VERSION_003"},
    {34, "ISteamInventory", "STEAMINVENTORY_INTERFACE_V001"},
    {35, "ISteamVideo", "STEAMVIDEO_INTERFACE_V001"},
};

/// The only one that is asked for without a user.
constexpr Offer utils_offer = {9, "ISteamUtils", "SteamUtils008"};
constexpr std::size_t ugc_slot = 26;

template<std::size_t Slot>
std::uint64_t unrehearsed_slot(Interface* object) noexcept
{
    Mistake(std::string(object->name) + " slot " + std::to_string(Slot) + " is not rehearsed");
    return 0;
}

template<std::size_t... Slots>
std::array<const void*, sizeof...(Slots)> unrehearsed_slots(std::index_sequence<Slots...>)
{
    return {reinterpret_cast<const void*>(&unrehearsed_slot<Slots>)...};
}

/// A table in which every slot is there, and reports that it is not rehearsed.
template<std::size_t Size>
std::array<const void*, Size> unrehearsed_table()
{
    return unrehearsed_slots(std::make_index_sequence<Size>());
}

const void* const* table_of(const Offer& offer)
{
    static const auto* const others = new auto(unrehearsed_table<other_slot_count>());
    static const auto* const ugc = [] {
        auto* const slots = new auto(unrehearsed_table<std::tuple_size_v<UgcSlots>>());
        AddItemSlots(*slots);
        AddQuerySlots(*slots);
        return slots;
    }();
    return offer.slot == ugc_slot ? ugc->data() : others->data();
}

std::string method_of(const Offer& offer)
{
    return std::string("Get") + offer.name;
}

void* find(const Interface* self, const Offer& offer, int user, int pipe, const char* version)
{
    if (!InUse(self, method_of(offer)))
        return nullptr;
    if (user != the_user || pipe != the_pipe) {
        Mistake(method_of(offer) + " with a wrong user or pipe");
        return nullptr;
    }
    const bool offered = std::string(version) == offer.version && !TheWorkshop().Lacks(version);
    return offered ? InterfaceOfThisStart(offer.name, table_of(offer)) : nullptr;
}

template<std::size_t Index>
void* get_interface(Interface* self, int user, int pipe, const char* version) noexcept
{
    return Answered(
        "ISteamClient::" + method_of(offers[Index]),
        [&] { return find(self, offers[Index], user, pipe, version); }, user, pipe, version);
}

void* get_utils(Interface* self, int pipe, const char* version) noexcept
{
    return Answered(
        "ISteamClient::" + method_of(utils_offer),
        [&] { return find(self, utils_offer, the_user, pipe, version); }, pipe, version);
}

template<std::size_t... Indices>
auto make_client_table(std::index_sequence<Indices...>)
{
    auto table = unrehearsed_table<client_slot_count>();
    ((table[offers[Indices].slot] = AsSlot(&get_interface<Indices>)), ...);
    table[utils_offer.slot] = AsSlot(&get_utils);
    return table;
}

} // namespace

const void* const* ClientTable()
{
    static const auto* const table =
        new auto(make_client_table(std::make_index_sequence<std::size(offers)>()));
    return table->data();
}

Interface* InterfaceOfThisStart(const std::string& name, const void* const* table)
{
    static auto* const objects = new std::map<std::pair<unsigned, std::string>, Interface>;
    const unsigned start = TheWorkshop().StartNumber();
    const auto at = objects->try_emplace({start, name}).first;
    at->second = {table, at->first.second.c_str(), start};
    return &at->second;
}

bool InUse(const Interface* object, const std::string& method)
{
    const std::string name = std::string(object->name) + "::" + method;
    if (!TheWorkshop().Started()) {
        Mistake(name + " while the library is not started");
        return false;
    }
    if (object->start != TheWorkshop().StartNumber()) {
        Mistake(name + " on an object of a former start");
        return false;
    }
    return true;
}

} // namespace practice
