#pragma once

#include "Journal.h"

#include <string>
#include <type_traits>

namespace practice {

/// Runs the body of a function that another program calls, with a line in the journal: the
/// function, its arguments and the result.
template<typename Body, typename... Arguments>
auto Answered(const std::string& function, Body&& body, const Arguments&... arguments)
{
    const auto result = body();
    if constexpr (std::is_pointer_v<decltype(body())>)
        Note(CallText(function, arguments...) + (result != nullptr ? " = ok" : " = null"));
    else
        Note(CallText(function, arguments...) + " = " + Shown(result));
    return result;
}

} // namespace practice
