#include "Interfaces.h"

#include "Guard.h"
#include "Ugc.h"
#include "Workshop.h"

#include <map>
#include <string>
#include <tuple>
#include <utility>

namespace practice {

namespace {

constexpr std::size_t kClientSlots = 36;

// More than any interface has.
constexpr std::size_t kOtherSlots = 128;

// What the client answers in one of its slots, to the method "Get" and the name.
struct Offer
{
    std::size_t slot;
    const char* name;
    const char* version;
};

constexpr std::array<Offer, 19> kOffers = {{
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
}};

// The only one that is asked for without a user.
constexpr Offer kUtils = {9, "ISteamUtils", "SteamUtils008"};
constexpr std::size_t kUgcSlot = 26;

template<std::size_t Slot>
std::uint64_t UnrehearsedSlot(Interface* object) noexcept
{
    GuardedVoid([object] {
        Mistake(std::string(object->name) + " slot " + std::to_string(Slot) + " is not rehearsed");
    });
    return 0;
}

template<std::size_t... Slots>
std::array<const void*, sizeof...(Slots)> UnrehearsedSlots(std::index_sequence<Slots...>)
{
    return {reinterpret_cast<const void*>(&UnrehearsedSlot<Slots>)...};
}

// A table in which every slot is there, and reports that it is not rehearsed.
template<std::size_t Size>
std::array<const void*, Size> UnrehearsedTable()
{
    return UnrehearsedSlots(std::make_index_sequence<Size>());
}

const void* const* TableOf(const Offer& offer)
{
    static const auto* const others = new auto(UnrehearsedTable<kOtherSlots>());
    static const auto* const ugc = [] {
        auto* const slots = new auto(UnrehearsedTable<std::tuple_size_v<UgcSlots>>());
        AddItemSlots(*slots);
        AddQuerySlots(*slots);
        return slots;
    }();
    return offer.slot == kUgcSlot ? ugc->data() : others->data();
}

std::string MethodOf(const Offer& offer)
{
    return std::string("Get") + offer.name;
}

void* Find(const Interface* self, const Offer& offer, int user, int pipe, const char* version)
{
    if (!InUse(self, MethodOf(offer)))
        return nullptr;
    if (user != kUser || pipe != kPipe || version == nullptr) {
        Mistake(MethodOf(offer) + " with a wrong user or pipe, or without a version");
        return nullptr;
    }
    const bool offered = std::string(version) == offer.version && !TheWorkshop().Lacks(version);
    return offered ? InterfaceOfThisStart(offer.name, TableOf(offer)) : nullptr;
}

template<std::size_t Index>
void* GetInterface(Interface* self, int user, int pipe, const char* version) noexcept
{
    return Answered(
        "ISteamClient::" + MethodOf(kOffers[Index]), static_cast<void*>(nullptr),
        [&] { return Find(self, kOffers[Index], user, pipe, version); }, user, pipe, version);
}

void* GetUtils(Interface* self, int pipe, const char* version) noexcept
{
    return Answered(
        "ISteamClient::" + MethodOf(kUtils), static_cast<void*>(nullptr),
        [&] { return Find(self, kUtils, kUser, pipe, version); }, pipe, version);
}

template<std::size_t... Indices>
auto MakeClientTable(std::index_sequence<Indices...>)
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
        new auto(MakeClientTable(std::make_index_sequence<kOffers.size()>()));
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
