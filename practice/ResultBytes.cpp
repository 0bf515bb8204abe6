#include "ResultBytes.h"

#include <cstring>

namespace practice {

namespace {

// Structures are packed to 8 bytes on Windows and to 4 elsewhere, on 64-bit systems too.
#if defined(_WIN32)
constexpr bool wide = true;
#else
constexpr bool wide = false;
#endif

constexpr std::size_t query_size = 24;
constexpr std::size_t cursor_offset = 21;
constexpr std::size_t query_size_new = 280; // with the cursor's 256 bytes, rounded up
constexpr std::size_t create_size = wide ? 24 : 16;
constexpr std::size_t submit_size = 8;
constexpr std::size_t submit_size_new = 16;

template<typename Value>
void put(ResultBytes& bytes, std::size_t offset, Value value)
{
    std::memcpy(bytes.data() + offset, &value, sizeof(value));
}

} // namespace

ResultBytes QueryCompletedBytes(std::uint64_t handle, int result, std::uint32_t returned)
{
    ResultBytes bytes(new_library ? query_size_new : query_size);
    put<std::uint64_t>(bytes, 0, handle);
    put<std::int32_t>(bytes, 8, result);
    put<std::uint32_t>(bytes, 12, returned);
    put<std::uint32_t>(bytes, 16, returned); // how many there are in all
    put<std::uint8_t>(bytes, 20, 0);         // not from a cache
    if (new_library) {
        const char cursor[] = "*"; // anything that is not empty shows where it lies
        std::memcpy(bytes.data() + cursor_offset, cursor, sizeof(cursor));
    }
    return bytes;
}

ResultBytes CreateItemResultBytes(int result, std::uint64_t item, bool needs_agreement)
{
    ResultBytes bytes(create_size);
    put<std::int32_t>(bytes, 0, result);
    put<std::uint64_t>(bytes, wide ? 8 : 4, item);
    put<std::uint8_t>(bytes, wide ? 16 : 12, needs_agreement ? 1 : 0);
    return bytes;
}

ResultBytes SubmitItemUpdateResultBytes(int result, std::uint64_t item, bool needs_agreement)
{
    ResultBytes bytes(new_library ? submit_size_new : submit_size);
    put<std::int32_t>(bytes, 0, result);
    put<std::uint8_t>(bytes, 4, needs_agreement ? 1 : 0);
    if (new_library)
        put<std::uint64_t>(bytes, 8, item);
    return bytes;
}

bool RightSize(int callback_id, int size, std::size_t ours)
{
    const std::size_t of_its_time = callback_id == query_completed_id      ? query_size
                                    : callback_id == create_item_result_id ? create_size
                                                                           : submit_size;
    const auto asked = static_cast<std::size_t>(size);
    return size > 0 && (asked == of_its_time || asked == ours);
}

} // namespace practice
