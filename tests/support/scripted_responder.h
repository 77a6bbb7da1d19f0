// Answers the procedures that a test names in its own way, and leaves the others to another.
#pragma once

#include "host/session/responder.h"

namespace velt::host
{

class ScriptedResponder : public Responder
{
public:
    explicit ScriptedResponder(Responder &other) : other_(other) {}

    // answer(client, argument, result)
    template <class P, class Answer>
    void on(Answer answer)
    {
        answers_[P::number] = [answer](Call &call) {
            answer(call.client, *static_cast<typename P::Argument *>(call.argument),
                   *static_cast<typename P::Result *>(call.result));
        };
    }
    // Calls of this procedure get no reply.
    rpcproc_t dropped = 0;

    // The status for processes that ask to be admitted.
    IntT admission = 0;

    IntT admit(IntT) override { return admission; }
    Reaction respond(Call &call) override
    {
        if (call.procedure.number == dropped)
            return Reaction::drop;
        const auto scripted = answers_.find(call.procedure.number);
        if (scripted == answers_.end())
            return other_.respond(call);
        scripted->second(call);
        return Reaction::answer;
    }
    void client_exited(int number) override { other_.client_exited(number); }

private:
    Responder &other_;
    std::map<rpcproc_t, std::function<void(Call &)>> answers_;
};

} // namespace velt::host
