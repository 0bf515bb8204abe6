#pragma once

#include <optional>
#include <string>
#include <vector>

namespace practice {

using Tags = std::vector<std::string>;

// The texts of the caller's array. Nothing, and the caller's mistake, when it cannot be read.
std::optional<Tags> ReadTags(const void* array, const std::string& method);

bool AcceptableTag(const std::string& tag);

std::string ShownTags(const std::optional<Tags>& tags);

} // namespace practice
