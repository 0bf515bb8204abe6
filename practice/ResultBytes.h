#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace practice {

/// A client of today answers with more than programs of the older version know of.
extern const bool new_library;

/// The structure that a call answers with, byte by byte as a program of another build reads it.
/// Only what this program reads of it is filled in, and the result.
using ResultBytes = std::vector<unsigned char>;

constexpr int query_completed_id = 3401;
constexpr int create_item_result_id = 3403;
constexpr int submit_item_update_result_id = 3404;

ResultBytes QueryCompletedBytes(int result);
ResultBytes CreateItemResultBytes(int result, std::uint64_t item);
ResultBytes SubmitItemUpdateResultBytes(int result, bool needs_agreement);

/// The sizes that a program may ask for: that of its own time, and all that this library has.
bool RightSize(int callback_id, int size, std::size_t ours);

} // namespace practice
