#include "host/check/meddler.h"

#include <iostream>

#include "common/printable.h"

namespace velt::host
{

using namespace procedure;

Responder::Reaction Meddler::respond(Call &call)
{
    const Client &client = call.client;
    const bool holds_control = client.turns.client_holds_control();
    if (call.procedure.number == api_vq_over_1::number) {
        hand_overs++;
        needless_hand_overs += !holds_control;
        bailed_out |= *static_cast<const IntT *>(call.argument) != 0;
        if (handed_over)
            handed_over(call);
        return model_.respond(call);
    }
    if (call.procedure.number == api_vq_take_control_1::number)
        return model_.respond(call);
    if (call.procedure.number == api_vq_modal_dialog_1::number)
        opened_dialog |= static_cast<const ApiVqDoDialogArgT *>(call.argument)->int1 != 0;
    calls.push_back(&call.procedure);
    if (!holds_control)
        breaches.push_back(&call.procedure);
    const std::optional<Reaction> reaction = meddle ? meddle(call) : std::nullopt;
    return reaction ? *reaction : model_.respond(call);
}

Reply StandIn::ask(const Question &question)
{
    if (cancels)
        return {};
    switch (question.kind) {
    case Question::string:
        return question.suggestion.empty() ? "the" : question.suggestion;
    case Question::file:
        return question.suggestion.empty() ? "document1.json" : question.suggestion;
    case Question::point:
        return V_PointT{};
    case Question::rectangle:
        return RectT{};
    case Question::integer:
    case Question::length:
    case Question::unsaved: // whose second answer loses the changes
        return IntT{1};
    case Question::alert:
    case Question::scroll_box:
    case Question::quick_select:
        break;
    }
    return IntT{0};
}

void StandIn::report(const std::string &line)
{
    if (listens)
        std::cerr << new_line << printable_line(line) << std::endl;
}

// The host removes the registration of a client that has ended; the client has to do so before.
bool WatchedMapper::unset(UIntT program, UIntT version)
{
    const bool was_there = SessionPortMapper::unset(program, version);
    left_over |= was_there && has_ended && has_ended(program);
    return was_there;
}

} // namespace velt::host
