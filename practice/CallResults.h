#pragma once

#include "ResultBytes.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace practice {

struct Answer
{
    int result = 0;
    ResultBytes bytes;
    bool io_failure = false;
};

/// The calls under way, and the objects of the caller that wait for their answers.
class CallResults
{
public:
    /// Does one pump's share of a call; an answer when the call is through.
    using Work = std::function<std::optional<Answer>()>;

    /// The number of the new call.
    std::uint64_t Add(int callback_id, Work work);

    void Register(void* object, std::uint64_t call);
    void Unregister(void* object, std::uint64_t call);

    /// Moves every call on, then delivers the answers in the order of the calls. The caller's code
    /// runs in here, and may call anything.
    void Pump();

    /// Calls end with the connection to the client, registrations do not.
    void DropCalls();

    int LiveRegistrations() const { return static_cast<int>(registrations.size()); }

private:
    struct Call
    {
        int callback_id = 0;
        Work work;
        std::optional<Answer> answer;
    };

    void deliver(std::uint64_t number, const Call& call);

    std::map<std::uint64_t, Call> calls;
    std::map<std::uint64_t, void*> registrations;
    /// Nested when the caller pumps inside a delivery.
    std::vector<std::uint64_t> deliveries_under_way;
    std::uint64_t last_call = 0;
};

} // namespace practice
