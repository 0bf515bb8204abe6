#include "CallResults.h"

#include "Journal.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <string>

// The function table that is called here belongs to a class of the caller, which the check of
// indirect calls cannot know.
#if defined(__clang__)
#define PRACTICE_FOREIGN_CALL __attribute__((no_sanitize("function")))
#else
#define PRACTICE_FOREIGN_CALL
#endif

namespace practice {

namespace {

// The caller's object: the address of its function table, one byte of flags, then the callback id.
constexpr std::size_t kCallbackIdOffset = sizeof(void*) + 4;

// The library for Windows is built by a compiler that lays out overloads in the opposite order.
#if defined(_WIN32)
constexpr std::size_t kRunSlot = 0;
#else
constexpr std::size_t kRunSlot = 1;
#endif
constexpr std::size_t kSizeSlot = 2;

// No result is near this size; an object that asks for more is broken.
constexpr int kLargestSize = 65536;

// What a failed call leaves in the buffer: anything but a result.
constexpr unsigned char kGarbage = 0xCD;

constexpr int kFailure = 2;

using RunFunction = void (*)(void* object, void* result, bool io_failure, std::uint64_t call);
using SizeFunction = int (*)(void* object);

template<typename Function>
Function Slot(void* object, std::size_t slot)
{
    const void* const* table = nullptr;
    std::memcpy(&table, object, sizeof(table));
    return reinterpret_cast<Function>(const_cast<void*>(table[slot]));
}

int CallbackId(const void* object)
{
    std::int32_t id = 0;
    if (object != nullptr) {
        std::memcpy(&id, static_cast<const char*>(object) + kCallbackIdOffset, sizeof(id));
    }
    return id;
}

PRACTICE_FOREIGN_CALL int SizeOf(void* object)
{
    return Slot<SizeFunction>(object, kSizeSlot)(object);
}

PRACTICE_FOREIGN_CALL void Run(void* object, void* result, bool io_failure, std::uint64_t call)
{
    Slot<RunFunction>(object, kRunSlot)(object, result, io_failure, call);
}

// A call that breaks down on our side must still come to an end.
std::optional<Answer> DoShare(const CallResults::Work& work)
{
    try {
        return work();
    } catch (const std::exception& error) {
        Trouble(std::string("a call broke down: ") + error.what());
        return Answer{kFailure, {}, true};
    }
}

std::string CallName(std::uint64_t call)
{
    return "call " + std::to_string(call);
}

} // namespace

std::uint64_t CallResults::Add(int callback_id, Work work)
{
    calls[++last_call] = {callback_id, std::move(work)};
    return last_call;
}

void CallResults::CheckRegistration(void* object, std::uint64_t call) const
{
    const auto found = calls.find(call);
    if (object == nullptr) {
        Mistake("SteamAPI_RegisterCallResult with a null object");
    } else if (call == 0 || call > last_call) {
        Mistake("SteamAPI_RegisterCallResult for " + CallName(call) + ", which was never made");
    } else if (found == calls.end()) {
        Mistake("SteamAPI_RegisterCallResult for " + CallName(call) + ", which is over");
    } else if (found->second.callback_id != CallbackId(object)) {
        Mistake(CallName(call) + " answers with " + std::to_string(found->second.callback_id)
                + ", the object waits for " + std::to_string(CallbackId(object)));
    }
    const auto waiting = registrations.find(call);
    if (waiting != registrations.end() && waiting->second != object) {
        Mistake("another object is registered for " + CallName(call) + " already");
    }
}

void CallResults::Register(void* object, std::uint64_t call)
{
    CheckRegistration(object, call);
    Note(CallText("SteamAPI_RegisterCallResult", CallbackId(object), call));
    if (object != nullptr && call != 0) {
        registrations[call] = object;
    }
}

void CallResults::Unregister(void* object, std::uint64_t call)
{
    const auto found = registrations.find(call);
    const bool registered = found != registrations.end() && found->second == object;
    const auto& under_way = deliveries_under_way;
    if (object == nullptr) {
        Mistake("SteamAPI_UnregisterCallResult with a null object");
    } else if (std::find(under_way.begin(), under_way.end(), call) != under_way.end()) {
        Mistake(CallName(call) + " was unregistered inside its own delivery");
    } else if (!registered) {
        Mistake("SteamAPI_UnregisterCallResult for " + CallName(call)
                + ", for which the object is not registered");
    }
    Note(CallText("SteamAPI_UnregisterCallResult", CallbackId(object), call));
    if (registered) {
        registrations.erase(found);
    }
}

void CallResults::Pump()
{
    struct Completed
    {
        std::uint64_t call;
        int callback_id;
        Answer answer;
    };
    std::vector<Completed> completed;
    for (auto at = calls.begin(); at != calls.end();) {
        std::optional<Answer> answer = DoShare(at->second.work);
        if (answer) {
            completed.push_back({at->first, at->second.callback_id, std::move(*answer)});
            at = calls.erase(at);
        } else {
            ++at;
        }
    }
    const unsigned drops_before = drops;
    for (const Completed& each : completed) {
        // The caller may have shut everything down inside the delivery before.
        if (drops != drops_before) {
            return;
        }
        Deliver(each.call, each.callback_id, each.answer);
    }
}

void CallResults::Deliver(std::uint64_t call, int callback_id, const Answer& answer)
{
    const auto found = registrations.find(call);
    if (found == registrations.end()) {
        Note("lost " + std::to_string(callback_id) + " for " + CallName(call)
             + ": nothing is registered for it");
        return;
    }
    void* const object = found->second;
    registrations.erase(found);

    // An answer of another kind cannot be fetched, which the object hears of as a failed call.
    const bool io_failure = answer.io_failure || CallbackId(object) != callback_id;
    Note("deliver " + std::to_string(callback_id) + " for " + CallName(call) + ": result "
         + std::to_string(answer.result) + (io_failure ? ", io failure" : ""));

    const int wanted = SizeOf(object);
    if (wanted < 0
        || !RightSize(callback_id, static_cast<std::size_t>(wanted), answer.bytes.size())) {
        Mistake("the object for " + CallName(call) + " asks for " + std::to_string(wanted)
                + " bytes of " + std::to_string(callback_id));
    }
    ResultBytes buffer(static_cast<std::size_t>(std::clamp(wanted, 1, kLargestSize)), kGarbage);
    if (!io_failure) {
        std::copy_n(answer.bytes.begin(), std::min(buffer.size(), answer.bytes.size()),
                    buffer.begin());
    }
    deliveries_under_way.push_back(call);
    try {
        Run(object, buffer.data(), io_failure, call);
    } catch (...) {
        deliveries_under_way.pop_back();
        throw;
    }
    deliveries_under_way.pop_back();
}

void CallResults::DropCalls()
{
    calls.clear();
    ++drops;
}

void CallResults::ForgetEverything()
{
    DropCalls();
    registrations.clear();
    last_call = 0;
}

int CallResults::LiveRegistrations() const
{
    return static_cast<int>(registrations.size());
}

} // namespace practice
