#pragma once

#include "CallResults.h"
#include "Script.h"

#include <functional>
#include <string>

namespace practice {

// What the script wants of the call that begins now.
struct Rehearsed
{
    int result = 1;
    bool silent = false;
    bool io_failure = false;

    // The call is to fail, and must leave the store as it was.
    bool Fails() const { return result != 1 || io_failure; }
};

// True when the call is not to be accepted; has a look at the user's script first.
bool Refused(CallKind kind);

Rehearsed TakeRehearsed(CallKind kind);

// Tells the user that the failure of this item or query was asked for.
void LogRehearsed(const std::string& what, const Rehearsed& wanted);

// For calls that do nothing until it is time to answer.
CallResults::Work AnswerInTime(bool silent, std::function<Answer()> answer);

} // namespace practice
