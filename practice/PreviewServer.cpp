#include "PreviewServer.h"

#include "Journal.h"

#include <httplib.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

namespace practice {

namespace {

constexpr auto kPictureType = "application/octet-stream";

std::uint64_t Hash(const std::string& bytes, std::uint64_t seed)
{
    std::uint64_t hash = 14695981039346656037U ^ seed; // FNV-1a
    for (const char byte : bytes) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211U;
    }
    return hash;
}

// Forty digits, as real addresses have.
std::string Digits(const std::string& bytes)
{
    std::string digits;
    for (std::uint64_t seed = 0; digits.size() < 40; ++seed) {
        char part[17] = "";
        std::snprintf(part, sizeof(part), "%016llx",
                      static_cast<unsigned long long>(Hash(bytes, seed)));
        digits += part;
    }
    return digits.substr(0, 40);
}

} // namespace

class PreviewServer::Server
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
        if (thread.joinable()) {
            thread.join();
        }
    }

    bool Start()
    {
        // A connection that is kept open for more requests would hold up the stop.
        server.set_keep_alive_max_count(1);
        server.set_keep_alive_timeout(1);
        server.set_idle_interval(0, 50000);
        server.Get("/ugc/.*", [this](const httplib::Request& request, httplib::Response& response) {
            Respond(request.path, response);
        });
        port = server.bind_to_any_port("127.0.0.1");
        if (port <= 0) {
            return false;
        }
        thread = std::thread([this] {
            server.listen_after_bind();
            ended = true;
        });
        // A stop that comes before the server runs would be missed.
        while (!server.is_running() && !ended) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return server.is_running();
    }

    std::string Publish(std::uint64_t item, std::string picture)
    {
        const std::string path = "/ugc/" + std::to_string(item) + "/" + Digits(picture) + "/";
        const std::lock_guard<std::mutex> lock(mutex);
        pictures[path] = std::move(picture);
        return "http://127.0.0.1:" + std::to_string(port) + path;
    }

    void Behave(PreviewAnswer new_answer, std::chrono::milliseconds new_delay)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        answer = new_answer;
        delay = new_delay;
    }

private:
    void Respond(const std::string& path, httplib::Response& response)
    {
        std::unique_lock<std::mutex> lock(mutex);
        const auto found = pictures.find(path);
        if (found == pictures.end() || answer == PreviewAnswer::NotFound) {
            response.status = 404;
            return;
        }
        const auto is_stopping = [this] { return stopping; };
        switch (answer) {
        case PreviewAnswer::ServerError:
            response.status = 500;
            return;
        case PreviewAnswer::NotAPicture:
            response.set_content("<html><body>This is not a picture.</body></html>", kPictureType);
            return;
        case PreviewAnswer::ClosesEarly:
            SendHalf(found->second, response);
            return;
        case PreviewAnswer::Never:
            stop_wanted.wait(lock, is_stopping);
            response.status = 503;
            return;
        case PreviewAnswer::Slow:
            stop_wanted.wait_for(lock, delay, is_stopping);
            break;
        case PreviewAnswer::Ok:
        case PreviewAnswer::None:
        case PreviewAnswer::NotFound:
            break;
        }
        response.set_content(found->second, kPictureType);
    }

    static void SendHalf(const std::string& picture, httplib::Response& response)
    {
        response.set_content_provider(
            picture.size(), kPictureType,
            [picture](std::size_t offset, std::size_t, httplib::DataSink& sink) {
                return offset == 0 && sink.write(picture.data(), picture.size() / 2);
            });
    }

    httplib::Server server;
    std::thread thread;
    std::atomic<bool> ended{false};
    int port = 0;

    std::mutex mutex; // guards all that follows
    std::condition_variable stop_wanted;
    bool stopping = false;
    std::map<std::string, std::string> pictures;
    PreviewAnswer answer = PreviewAnswer::Ok;
    std::chrono::milliseconds delay{0};
};

PreviewServer::PreviewServer() = default;

PreviewServer::~PreviewServer()
{
    Stop();
}

bool PreviewServer::Start()
{
    server = std::make_unique<Server>();
    server->Behave(answer, delay);
    if (!server->Start()) {
        server.reset();
        return false;
    }
#if !defined(_WIN32)
    // A program that ends without a shutdown must not take the ground from under the thread.
    // Windows has ended every other thread by the time that this could run.
    struct StopAtExit // NOLINT(cppcoreguidelines-special-member-functions): one, never copied
    {
        PreviewServer* previews;
        ~StopAtExit() { previews->Stop(); }
    };
    static const StopAtExit stop_at_exit{this};
#endif
    return true;
}

std::string PreviewServer::Publish(std::uint64_t item, std::string picture)
{
    if (server == nullptr && !Start()) {
        Trouble("no port of this computer can be had to serve previews");
        return "";
    }
    return server->Publish(item, std::move(picture));
}

void PreviewServer::Behave(PreviewAnswer new_answer, std::chrono::milliseconds new_delay)
{
    answer = new_answer;
    delay = new_delay;
    if (server != nullptr) {
        server->Behave(answer, delay);
    }
}

void PreviewServer::Stop()
{
    server.reset();
}

} // namespace practice
