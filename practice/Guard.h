#pragma once

#include "Journal.h"

#include <exception>
#include <string>

namespace practice {

// Runs the body of a function that another program calls: nothing may be thrown across that border.
template<typename Result, typename Body>
Result Guarded(Result fallback, Body&& body) noexcept
{
    try {
        return body();
    } catch (const std::exception& error) {
        try {
            Trouble(std::string("unexpected: ") + error.what());
        } catch (...) { // not even memory for the words
        }
    } catch (...) {
    }
    return fallback;
}

template<typename Body>
void GuardedVoid(Body&& body) noexcept
{
    Guarded(0, [&] {
        body();
        return 0;
    });
}

} // namespace practice
