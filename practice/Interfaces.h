#pragma once

#include <string>

#if defined(_WIN32) && !defined(_WIN64)
// Methods get their object in a register there, which plain functions cannot imitate portably.
#error "The Practice Workshop cannot stand in for a 32-bit Windows library."
#endif

namespace practice {

/// The one user and the one pipe that there are; two numbers, so that mixing them up shows.
constexpr int the_user = 1;
constexpr int the_pipe = 2;

/// An interface as the caller sees it: the address of a table of functions, which all get the
/// object as their first argument. What follows the address is our own.
struct Interface
{
    const void* const* table = nullptr;
    const char* name = "";
    unsigned start = 0; // the start of the library that it was handed out in
};

/// The interface of this start. Objects of former starts stay, so that their use can be reported.
Interface* InterfaceOfThisStart(const std::string& name, const void* const* table);

/// False, and the caller's mistake, when the library is not started or was started anew since.
bool InUse(const Interface* object, const std::string& method);

template<typename Function>
const void* AsSlot(Function* function)
{
    return reinterpret_cast<const void*>(function);
}

const void* const* ClientTable();

} // namespace practice
