#pragma once

#include "Journal.h"

#include <cstdio>
#include <exception>
#include <string>
#include <type_traits>

namespace practice {

/// Runs the body of a function that another program calls: nothing may be thrown across that
/// border.
template<typename Result, typename Body>
Result Guarded(Result fallback, Body&& body) noexcept
{
    try {
        return body();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "Practice Workshop: unexpected: %s\n", error.what());
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

/// The same with a line in the journal: the function, its arguments and the result.
template<typename Result, typename Body, typename... Arguments>
Result Answered(const std::string& function, Result fallback, Body&& body,
                const Arguments&... arguments) noexcept
{
    return Guarded(fallback, [&] {
        const Result result = body();
        if constexpr (std::is_pointer_v<Result>)
            Note(CallText(function, arguments...) + (result != nullptr ? " = ok" : " = null"));
        else
            Note(CallText(function, arguments...) + " = " + Shown(result));
        return result;
    });
}

} // namespace practice
