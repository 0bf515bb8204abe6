#pragma once

#include "Script.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace practice {

// Serves previews to this computer only, on a thread of its own that starts with the first
// picture. The one part of the library that is not on the caller's thread.
class PreviewServer
{
public:
    PreviewServer();
    ~PreviewServer();
    PreviewServer(const PreviewServer&) = delete;
    PreviewServer& operator=(const PreviewServer&) = delete;

    // The address at which the picture can be had until Stop; empty when no server can be had.
    // Other bytes get another address.
    std::string Publish(std::uint64_t item, std::string picture);

    void Behave(PreviewAnswer answer, std::chrono::milliseconds delay);

    // Does not wait for answers that are slow on purpose.
    void Stop();

private:
    class Server;
    bool Start();

    std::unique_ptr<Server> server;
    PreviewAnswer answer = PreviewAnswer::Ok;
    std::chrono::milliseconds delay{0};
};

} // namespace practice
