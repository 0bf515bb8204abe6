#pragma once

#include "Interfaces.h"
#include "Journal.h"

#include <array>
#include <cstdint>
#include <string>

namespace practice {

constexpr std::uint64_t kNoCall = 0;
constexpr std::uint64_t kNoHandle = ~std::uint64_t(0);

using UgcSlots = std::array<const void*, 67>;

// Each part of the interface puts its functions into their slots.
void AddItemSlots(UgcSlots& slots);
void AddQuerySlots(UgcSlots& slots);

inline std::string Method(const char* name)
{
    return std::string("ISteamUGC::") + name;
}

template<typename Result>
Result Told(const std::string& call, Result result)
{
    Note(call + " = " + Shown(result));
    return result;
}

} // namespace practice
