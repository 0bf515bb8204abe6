#include "PreviewServer.h"

#include "Journal.h"

#include <httplib.h>

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

namespace practice {

namespace {

class Server
{
public:
    Server() = default;
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    ~Server()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            stopping = true;
        }
        stop_wanted.notify_all();
        server.stop();
        if (thread.joinable())
            thread.join();
    }

    bool Start()
    {
        // A connection that is kept open for more requests would hold up the stop.
        server.set_keep_alive_max_count(1);
        server.set_idle_interval(0, 50000);
        server.Get("/ugc/.*", [this](const httplib::Request& request, httplib::Response& response) {
            respond(request.path, response);
        });
        port = server.bind_to_any_port("127.0.0.1");
        if (port <= 0)
            return false;
        thread = std::thread([this] {
            server.listen_after_bind();
            ended = true;
        });
        // A stop that comes before the server runs would be missed.
        while (!server.is_running() && !ended)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return server.is_running();
    }

    std::string Publish(std::uint64_t item, std::string image, PreviewAnswer answer)
    {
        char path[80] = ""; // with forty digits, as real addresses have
        std::snprintf(path, sizeof(path), "/ugc/%llu/%040zx/",
                      static_cast<unsigned long long>(item), std::hash<std::string>()(image));
        const std::lock_guard<std::mutex> lock(mutex);
        previews[path] = {std::move(image), std::move(answer)};
        return "http://127.0.0.1:" + std::to_string(port) + path;
    }

private:
    struct Preview
    {
        std::string image;
        PreviewAnswer answer;
    };

    void respond(const std::string& path, httplib::Response& response)
    {
        std::unique_lock<std::mutex> lock(mutex);
        const auto found = previews.find(path);
        if (found == previews.end()) {
            response.status = 404;
            return;
        }
        const auto [image, answer] = found->second;
        if (answer.kind == "404") {
            response.status = 404;
        } else if (answer.kind == "never") {
            stop_wanted.wait(lock, [this] { return stopping; });
        } else {
            if (answer.kind == "slow")
                stop_wanted.wait_for(lock, answer.delay, [this] { return stopping; });
            response.set_content(image, "application/octet-stream");
        }
    }

    httplib::Server server;
    std::thread thread;
    std::atomic<bool> ended{false};
    int port = 0;

    std::mutex mutex; // guards all that follows
    std::condition_variable stop_wanted;
    bool stopping = false;
    std::map<std::string, Preview> previews;
};

/// Null before the first preview is served.
std::unique_ptr<Server>& the_server()
{
#if defined(_WIN32)
    // Never destroyed: when that could happen, Windows has ended every other thread.
    static auto& server = *new std::unique_ptr<Server>;
#else
    // Destroyed when the program ends, because its thread must end before.
    static std::unique_ptr<Server> server;
#endif
    return server;
}

} // namespace

std::string PublishPreview(std::uint64_t item, std::string image, PreviewAnswer answer)
{
    std::unique_ptr<Server>& server = the_server();
    if (server == nullptr) {
        server = std::make_unique<Server>();
        if (!server->Start()) {
            server.reset();
            Trouble("no port of this computer can be had to serve previews");
            return "";
        }
    }
    return server->Publish(item, std::move(image), std::move(answer));
}

} // namespace practice
