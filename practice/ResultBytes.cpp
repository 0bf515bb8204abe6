#include "ResultBytes.h"

#include <cstring>

namespace practice {

namespace {

// Structures are packed to 8 bytes on Windows and to 4 elsewhere, on 64-bit systems too.
#if defined(_WIN32)
constexpr std::size_t create_size = 24;
constexpr std::size_t item_offset = 8;
#else
constexpr std::size_t create_size = 16;
constexpr std::size_t item_offset = 4;
#endif
constexpr std::size_t query_size = 24;
constexpr std::size_t query_size_new = 280; // with a cursor of 256 bytes, rounded up
constexpr std::size_t submit_size = 8;
constexpr std::size_t submit_size_new = 16; // with the item

template<typename Value>
void put(ResultBytes& bytes, std::size_t offset, Value value)
{
    std::memcpy(bytes.data() + offset, &value, sizeof(value));
}

} // namespace

ResultBytes QueryCompletedBytes(int result)
{
    ResultBytes bytes(new_library ? query_size_new : query_size);
    put<std::int32_t>(bytes, 8, result);
    return bytes;
}

ResultBytes CreateItemResultBytes(int result, std::uint64_t item)
{
    ResultBytes bytes(create_size);
    put<std::int32_t>(bytes, 0, result);
    put<std::uint64_t>(bytes, item_offset, item);
    return bytes;
}

ResultBytes SubmitItemUpdateResultBytes(int result, bool needs_agreement)
{
    ResultBytes bytes(new_library ? submit_size_new : submit_size);
    put<std::int32_t>(bytes, 0, result);
    put<std::uint8_t>(bytes, 4, needs_agreement ? 1 : 0);
    return bytes;
}

bool RightSize(int callback_id, int size, std::size_t ours)
{
    const std::size_t of_its_time = callback_id == query_completed_id      ? query_size
                                    : callback_id == create_item_result_id ? create_size
                                                                           : submit_size;
    const auto asked = static_cast<std::size_t>(size);
    return asked == of_its_time || asked == ours;
}

} // namespace practice
