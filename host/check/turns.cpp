// How client and host take turns.

#include <algorithm>
#include <set>

#include "host/check/courses.h"
#include "host/check/points.h"
#include "host/values/status.h"

namespace velt::host
{
namespace
{

using callback::vq_api_message_1;

void need(const Outcome &outcome, const std::string &what, const char *care = failed_calls)
{
    need_hand_over(outcome, {what}, care);
}

// Has the client do a bit of everything; what it calls is answered then.
void exercise(Session &session)
{
    session.serving();
    session.settle();
    for (const Course &each : courses_of(session.subject())) {
        if (!each.step.command)
            continue;
        session.carry_out(each.step);
        session.settle();
        need(session.host.message(session.serving(), "", 0, 0), "a message");
        session.settle();
    }
}

// Calls of the host that come when it is not their turn; the turn begins when the client can serve
// them.
class EarlyMessage
{
public:
    explicit EarlyMessage(Session &session) : session_(session) {}

    void send(Call &call)
    {
        char nothing = 0;
        VqApiMessageArgT message{&nothing, 0, 0};
        const Procedure *procedure = find_procedure(client_procedures(), vq_api_message_1::number);
        call.host.send(call.client, *procedure, &message);
        sent_ = true;
    }
    void begin_after(Call &call)
    {
        if (!sent_ || begun_)
            return;
        begun_ = true;
        call.after = [this, &client = call.client] {
            turn_ = client.turns.begin(vq_api_message_1::name, vq_api_message_1::number);
        };
    }
    bool was_sent() const { return sent_; }
    // Returns whether the client has not handed control back; nobody waits for that from here on.
    bool goes_on()
    {
        const bool open = session_.client().running() && session_.client().turns.goes_on(turn_);
        session_.client().turns.withdraw(turn_);
        return open;
    }

private:
    Session &session_;
    bool sent_ = false, begun_ = false;
    std::size_t turn_ = 0;
};

bool begins_modal_wait(const Call &call)
{
    return call.procedure.number == procedure::api_vq_modal_dialog_1::number &&
           static_cast<const ApiVqDoDialogArgT *>(call.argument)->int1 != 0;
}

} // namespace

void examine::commands(const Subject &subject)
{
    commands_of(subject);
}

void examine::cancelled(const Subject &subject)
{
    for (const Course &course : commands_of(subject)) {
        const Step &each = course.step;
        Session session(subject);
        session.person.cancels = true;
        session.prepare(each);
        session.host.cancel();
        session.carry_out(each);
        session.settle();
    }
}

void examine::hand_over(const Subject &subject)
{
    Session session(subject);
    exercise(session);
    if (session.meddler.needless_hand_overs > 0)
        throw Violation{"it has handed control back " +
                        std::to_string(session.meddler.needless_hand_overs) +
                        " times without holding it"};
}

void examine::control(const Subject &subject)
{
    Session session(subject);
    exercise(session);
    if (!session.meddler.breaches.empty())
        throw Violation{"it has called " + std::string(session.meddler.breaches[0]->name) +
                        " while the host held control"};
}

void examine::callbacks(const Subject &subject)
{
    constexpr const char *care = "take texts of any length, and numbers that it does not know";
    Session session(subject);
    std::set<std::optional<IntT>> known;
    for (const Step &each : session.commands(true))
        known.insert(each.command);
    for (const IntT number : {0, -1, 4711, 2147483647})
        if (!known.contains(number))
            need(session.host.command(session.serving(), number),
                 "the unknown command " + std::to_string(number), care);
    const auto of_length = [](const std::string &what, std::size_t length) {
        return what + " with a text of " + std::to_string(length) + " characters";
    };
    const auto notify = [&](IntT code, const std::string &text) {
        need(session.host.notify(session.serving(), code, 1, text, 0),
             of_length("the notification " + std::to_string(code), text.size()), care);
    };
#define V_NOTIFICATION(code, name, meaning) notify(code, "");
#include "velt/tables/notifications.def"
    notify(V_notification_filter, "a\036b\036\036c\036d\036e\036f\036g");
    notify(4711, std::string(5000, 'x'));
    for (const std::size_t length : {0U, 1U, 5000U})
        need(session.host.message(session.serving(), std::string(length, 'x'), 4711, 4711),
             of_length("a message", length), care);
    for (const IntT dialog : {-1, 4711})
        need(session.host.dialog_event(session.serving(), dialog, 1, 1),
             "an event of a dialog that it has not opened", care);
    session.settle();
}

void examine::procedures(const Subject &subject)
{
    Session session(subject);
    session.serving();
    const auto need_answer = [&](rpcproc_t number, clnt_stat wanted) {
        if (const clnt_stat answer = session.probe().call(number); answer != wanted)
            throw Violation{"procedure " + std::to_string(number) + ": " + clnt_sperrno(answer),
                            "\"" + std::string(clnt_sperrno(wanted)) + '"'};
    };
    need_answer(NULLPROC, RPC_SUCCESS);
    for (const rpcproc_t unknown : {8U, 4711U})
        need_answer(unknown, RPC_PROCUNAVAIL);
#define V_CALLBACK(number, handler, argument)                                                      \
    if (!std::is_void_v<callback::handler::Argument>)                                              \
        need_answer(number, RPC_CANTDECODEARGS);
#include "velt/tables/callbacks.def"
    need(session.host.message(session.client(), "", 0, 0), "a message");
}

void examine::nested(const Subject &subject)
{
    bool tried = false;
    for (const Course &course : commands_of(subject)) {
        const Step &each = course.step;
        Session session(subject);
        EarlyMessage message(session);
        session.prepare(each);
        session.meddler.breaches.clear();
        session.meddler.meddle = [&](Call &call) -> std::optional<Responder::Reaction> {
            if (!message.was_sent())
                message.send(call);
            if (begins_modal_wait(call))
                message.begin_after(call);
            return {};
        };
        session.meddler.handed_over = [&](Call &call) { message.begin_after(call); };
        session.carry_out(each);
        session.settle();
        tried |= message.was_sent();
        // A client that serves the host within a callback drops the call, and hands nothing over.
        message.goes_on();
        if (!session.meddler.breaches.empty())
            throw Violation{"it has called " + std::string(session.meddler.breaches[0]->name) +
                                " in " + each.text + ", after it had handed control back",
                            "it ends what it does before it serves the next call"};
    }
    if (!tried)
        throw Skipped{"it calls nothing in its commands"};
}

void examine::early(const Subject &subject)
{
    for (const Course &course : commands_of(subject)) {
        const Step &each = course.step;
        Session session(subject);
        EarlyMessage message(session);
        session.prepare(each);
        session.meddler.handed_over = [&](Call &call) {
            if (*static_cast<const IntT *>(call.argument) != 0 || message.was_sent())
                return;
            message.send(call);
            message.begin_after(call);
        };
        session.carry_out(each);
        session.settle();
        if (message.was_sent() && message.goes_on())
            throw Violation{
                "it has not handed control back of a message that came with the end of " +
                each.text};
    }
}

void examine::modal_dialog(const Subject &subject)
{
    for (const Course &course : dialogs_of(subject))
        for (const IntT result : {0, 1}) {
            const Step &each = course.step;
            Session session(subject);
            session.prepare(each);
            if (session.begin(each).kind != Outcome::modal)
                continue;
            Client &client = session.client();
            const ModalWait wait = *client.turns.modal_wait();
            session.settle();
            // An event may open another dialog, which ends again.
            const auto handed_back = [&](Outcome outcome, const std::string &what) {
                while (outcome.kind == Outcome::modal &&
                       client.turns.modal_wait()->dialog != wait.dialog)
                    outcome = session.host.end_dialog(client, 0, 0);
                need(outcome, what + " in a modal dialog of " + each.text);
            };
            handed_back(session.host.message(client, "", 0, 0), "a message");
            for (const IntT item : {1, 9999})
                handed_back(session.host.dialog_event(client, wait.number, item, 0), "an event");
            session.settle();
            if (!client.turns.modal_wait())
                throw Violation{"it does not wait for the end of the dialog any more, in " +
                                each.text};
            Outcome ended = session.host.end_dialog(client, 0, result);
            while (ended.kind == Outcome::modal)
                ended = session.host.end_dialog(client, 0, 0);
            need(ended, "the end of a modal dialog of " + each.text);
            session.settle();
        }
}

} // namespace velt::host
