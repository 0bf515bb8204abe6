#include "CallResults.h"

#include "Journal.h"

#include <algorithm>
#include <cstring>
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

/// The caller's object: the address of its function table, one byte of flags, then the callback id.
constexpr std::size_t callback_id_offset = sizeof(void*) + 4;

// The library for Windows is built by a compiler that lays out overloads in the opposite order.
#if defined(_WIN32)
constexpr std::size_t run_slot = 0;
#else
constexpr std::size_t run_slot = 1;
#endif
constexpr std::size_t size_slot = 2;

/// What a failed call leaves in the buffer: anything but a result.
constexpr unsigned char garbage = 0xCD;

using RunFunction = void (*)(void* object, void* result, bool io_failure, std::uint64_t call);
using SizeFunction = int (*)(void* object);

template<typename Function>
Function slot_of(void* object, std::size_t slot)
{
    const void* const* table = nullptr;
    std::memcpy(&table, object, sizeof(table));
    return reinterpret_cast<Function>(const_cast<void*>(table[slot]));
}

int callback_id_of(const void* object)
{
    std::int32_t id = 0;
    if (object != nullptr)
        std::memcpy(&id, static_cast<const char*>(object) + callback_id_offset, sizeof(id));
    return id;
}

PRACTICE_FOREIGN_CALL int size_of(void* object)
{
    return slot_of<SizeFunction>(object, size_slot)(object);
}

PRACTICE_FOREIGN_CALL void run(void* object, void* result, bool io_failure, std::uint64_t call)
{
    slot_of<RunFunction>(object, run_slot)(object, result, io_failure, call);
}

std::string call_name(std::uint64_t call)
{
    return "call " + std::to_string(call);
}

} // namespace

std::uint64_t CallResults::Add(int callback_id, Work work)
{
    calls[++last_call] = {callback_id, std::move(work), std::nullopt};
    return last_call;
}

void CallResults::Register(void* object, std::uint64_t call)
{
    const auto found = calls.find(call);
    if (found == calls.end()) {
        Mistake("a registration for " + call_name(call) + ", which was never made or is over");
    } else if (found->second.callback_id != callback_id_of(object)) {
        Mistake(call_name(call) + " answers with " + std::to_string(found->second.callback_id)
                + ", the object waits for " + std::to_string(callback_id_of(object)));
    } else if (registrations.count(call) > 0 && registrations[call] != object) {
        Mistake("another object is registered for " + call_name(call) + " already");
    }
    Note(CallText("SteamAPI_RegisterCallResult", callback_id_of(object), call));
    if (object != nullptr && call != 0)
        registrations[call] = object;
}

void CallResults::Unregister(void* object, std::uint64_t call)
{
    const auto found = registrations.find(call);
    const bool registered = found != registrations.end() && found->second == object;
    const auto& under_way = deliveries_under_way;
    if (std::find(under_way.begin(), under_way.end(), call) != under_way.end())
        Mistake(call_name(call) + " was unregistered inside its own delivery");
    else if (!registered)
        Mistake("the object to unregister is not registered for " + call_name(call));
    Note(CallText("SteamAPI_UnregisterCallResult", callback_id_of(object), call));
    if (registered)
        registrations.erase(found);
}

void CallResults::Pump()
{
    std::map<std::uint64_t, Call> completed;
    for (auto at = calls.begin(); at != calls.end();) {
        const auto call = at++;
        call->second.answer = call->second.work();
        if (call->second.answer)
            completed.insert(calls.extract(call));
    }
    for (const auto& [number, call] : completed)
        deliver(number, call);
}

void CallResults::deliver(std::uint64_t number, const Call& call)
{
    const std::string id = std::to_string(call.callback_id);
    const auto found = registrations.find(number);
    if (found == registrations.end()) {
        Note("lost " + id + " for " + call_name(number) + ": nothing is registered for it");
        return;
    }
    void* const object = found->second;
    registrations.erase(found);

    // An answer of another kind cannot be fetched, which the object receives as a failed call.
    const bool io_failure = call.answer->io_failure || callback_id_of(object) != call.callback_id;
    Note("deliver " + id + " for " + call_name(number) + ": result "
         + std::to_string(call.answer->result) + (io_failure ? ", io failure" : ""));

    const ResultBytes& bytes = call.answer->bytes;
    const int wanted = size_of(object);
    if (!RightSize(call.callback_id, wanted, bytes.size())) {
        Mistake("the object for " + call_name(number) + " asks for " + std::to_string(wanted)
                + " bytes of " + id);
    }
    ResultBytes buffer(static_cast<std::size_t>(std::max(wanted, 0)), garbage);
    if (!io_failure)
        std::copy_n(bytes.begin(), std::min(buffer.size(), bytes.size()), buffer.begin());
    deliveries_under_way.push_back(number);
    run(object, buffer.data(), io_failure, number);
    deliveries_under_way.pop_back();
}

void CallResults::DropCalls()
{
    calls.clear();
}

} // namespace practice
