#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace practice {

/// What the server does when the image is fetched; "ok" and unknown kinds send it as it is.
struct PreviewAnswer
{
    std::string kind = "ok";
    std::chrono::milliseconds delay{3000}; // of "slow"
};

/// The address at which the image can be fetched from this computer until the program ends; empty
/// when no port can be had. Other bytes get another address. The server's threads, which start with
/// the first image, are the one part of the library that is not on the caller's thread.
std::string PublishPreview(std::uint64_t item, std::string image, PreviewAnswer answer);

} // namespace practice
