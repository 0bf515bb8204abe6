#pragma once

#include "Answered.h"
#include "Interfaces.h"

#include <array>
#include <cstdint>
#include <string>

namespace practice {

constexpr std::uint64_t no_call = 0;
constexpr std::uint64_t no_handle = ~std::uint64_t(0);

using UgcSlots = std::array<const void*, 67>;

/// Each part of the interface puts its functions into their slots.
void AddItemSlots(UgcSlots& slots);
void AddQuerySlots(UgcSlots& slots);

/// A method of the interface: when it can be used now, the body's result, else that of a failure.
template<typename Result, typename Body, typename... Arguments>
Result UgcCall(const Interface* self, const char* method, Result failure, Body&& body,
               const Arguments&... arguments) noexcept
{
    return Answered(
        std::string("ISteamUGC::") + method,
        [&]() -> Result { return InUse(self, method) ? body() : failure; }, arguments...);
}

} // namespace practice
