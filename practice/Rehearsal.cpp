#include "Rehearsal.h"

#include "Workshop.h"

#include <utility>

namespace practice {

bool Refused(CallKind kind)
{
    TheWorkshop().LookAtScriptFile();
    return Script::Consume(TheWorkshop().script.refusals, kind);
}

Rehearsed TakeRehearsed(CallKind kind)
{
    Script& script = TheWorkshop().script;
    Rehearsed wanted;
    wanted.result = script.NextResult(kind);
    wanted.silent = Script::Consume(script.silences, kind);
    wanted.io_failure = Script::Consume(script.io_failures, kind);
    return wanted;
}

void LogRehearsed(const std::string& what, const Rehearsed& wanted)
{
    TheWorkshop().store.Log(what, wanted.result,
                            wanted.io_failure ? "rehearsed: the call itself failed" : "rehearsed");
}

CallResults::Work AnswerInTime(bool silent, std::function<Answer()> answer)
{
    int pumps_left = TheWorkshop().script.answer_after_pumps;
    return [pumps_left, silent, answer = std::move(answer)]() mutable -> std::optional<Answer> {
        if (silent || --pumps_left > 0) {
            return std::nullopt;
        }
        return answer();
    };
}

} // namespace practice
