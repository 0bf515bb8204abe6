#include "ResultBytes.h"

#include <cstring>

namespace practice {

namespace {

// Structures are packed to 8 bytes on Windows and to 4 elsewhere, on 64-bit systems too.
#if defined(_WIN32)
constexpr bool kWide = true;
#else
constexpr bool kWide = false;
#endif

constexpr std::size_t kQuerySize = 24;
constexpr std::size_t kCursorOffset = 21;
constexpr std::size_t kQuerySizeNew = 280; // with the cursor's 256 bytes, rounded up
constexpr std::size_t kCreateSize = kWide ? 24 : 16;
constexpr std::size_t kSubmitSize = 8;
constexpr std::size_t kSubmitSizeNew = 16;

template<typename Value>
void Put(ResultBytes& bytes, std::size_t offset, Value value)
{
    std::memcpy(bytes.data() + offset, &value, sizeof(value));
}

} // namespace

ResultBytes QueryCompletedBytes(std::uint64_t handle, int result, std::uint32_t returned)
{
    ResultBytes bytes(kNewLibrary ? kQuerySizeNew : kQuerySize);
    Put<std::uint64_t>(bytes, 0, handle);
    Put<std::int32_t>(bytes, 8, result);
    Put<std::uint32_t>(bytes, 12, returned);
    Put<std::uint32_t>(bytes, 16, returned); // how many there are in all
    Put<std::uint8_t>(bytes, 20, 0);         // not from a cache
    if (kNewLibrary) {
        const char cursor[] = "*"; // anything that is not empty shows where it lies
        std::memcpy(bytes.data() + kCursorOffset, cursor, sizeof(cursor));
    }
    return bytes;
}

ResultBytes CreateItemResultBytes(int result, std::uint64_t item, bool needs_agreement)
{
    ResultBytes bytes(kCreateSize);
    Put<std::int32_t>(bytes, 0, result);
    Put<std::uint64_t>(bytes, kWide ? 8 : 4, item);
    Put<std::uint8_t>(bytes, kWide ? 16 : 12, needs_agreement ? 1 : 0);
    return bytes;
}

ResultBytes SubmitItemUpdateResultBytes(int result, std::uint64_t item, bool needs_agreement)
{
    ResultBytes bytes(kNewLibrary ? kSubmitSizeNew : kSubmitSize);
    Put<std::int32_t>(bytes, 0, result);
    Put<std::uint8_t>(bytes, 4, needs_agreement ? 1 : 0);
    if (kNewLibrary)
        Put<std::uint64_t>(bytes, 8, item);
    return bytes;
}

bool RightSize(int callback_id, int size, std::size_t ours)
{
    const std::size_t of_its_time = callback_id == kQueryCompleted     ? kQuerySize
                                    : callback_id == kCreateItemResult ? kCreateSize
                                                                       : kSubmitSize;
    const auto asked = static_cast<std::size_t>(size);
    return size > 0 && (asked == of_its_time || asked == ours);
}

} // namespace practice
