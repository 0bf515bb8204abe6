#include "Tags.h"

#include "Journal.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <cstring>

namespace practice {

namespace {

constexpr std::size_t kLongestTag = 255; // characters that the Workshop accepts

// The caller's array: the address of the texts, then their number.
struct TagArray
{
    const char* const* texts = nullptr;
    std::int32_t count = 0;
};

TagArray ReadTagArray(const void* array)
{
    TagArray read;
    std::memcpy(&read.texts, array, sizeof(read.texts));
    std::memcpy(&read.count, static_cast<const char*>(array) + sizeof(void*), sizeof(read.count));
    return read;
}

bool IsUtf8(const std::string& text)
{
    try {
        nlohmann::json(text).dump();
        return true;
    } catch (const nlohmann::json::exception&) {
        return false;
    }
}

bool IsControl(unsigned char byte, unsigned char byte_before)
{
    const bool second_set = byte_before == 0xC2 && byte >= 0x80 && byte < 0xA0; // U+0080 to U+009F
    return byte < 0x20 || byte == 0x7F || second_set;
}

} // namespace

std::optional<Tags> ReadTags(const void* array, const std::string& method)
{
    if (array == nullptr) {
        Mistake(method + " with a null array");
        return std::nullopt;
    }
    const TagArray given = ReadTagArray(array);
    if (given.count < 0 || (given.count > 0 && given.texts == nullptr)) {
        Mistake(method + " with a count of " + std::to_string(given.count)
                + (given.texts == nullptr ? " and no texts" : ""));
        return std::nullopt;
    }
    Tags tags;
    for (std::int32_t index = 0; index < given.count; ++index) {
        if (given.texts[index] == nullptr) {
            Mistake(method + " with a null tag");
            return std::nullopt;
        }
        tags.emplace_back(given.texts[index]);
    }
    return tags;
}

bool AcceptableTag(const std::string& tag)
{
    if (tag.empty() || tag.find(',') != std::string::npos || !IsUtf8(tag)) {
        return false;
    }
    std::size_t characters = 0;
    unsigned char before = 0;
    for (const char each : tag) {
        const auto byte = static_cast<unsigned char>(each);
        if (IsControl(byte, before)) {
            return false;
        }
        characters += (byte & 0xC0) == 0x80 ? 0 : 1;
        before = byte;
    }
    return characters <= kLongestTag;
}

std::string ShownTags(const std::optional<Tags>& tags)
{
    std::string list;
    for (const std::string& tag : tags.value_or(Tags())) {
        list += (list.empty() ? "" : ", ") + Quoted(tag.c_str());
    }
    return tags ? "[" + list + "]" : "null";
}

} // namespace practice
