// What a client does when the host does not answer as it should.

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>

#include "apilib/unix/process.h"
#include "host/check/courses.h"
#include "host/check/points.h"
#include "host/values/status.h"

namespace velt::host
{
namespace
{

using std::chrono::milliseconds;
using Reaction = Responder::Reaction;
using Clock = std::chrono::steady_clock;

constexpr milliseconds slow_answer{500};

// Watches a client that may be waiting for good. Whoever only lacks the processor is not asleep.
class Sleep
{
public:
    // Returns whether the client has been asleep as often as was looked lately.
    bool is_deep(const Client &client)
    {
        look(client);
        return looks_ >= enough_looks;
    }
    // Returns for how long the client has been asleep by now, with breaks or without.
    milliseconds so_far(const Client &client)
    {
        look(client);
        return so_far_;
    }

private:
    void look(const Client &client)
    {
        const auto now = Clock::now();
        if (now < next_)
            return;
        ProcessFacts facts{};
        const bool asleep = read_process(client.pid, facts) && facts.state == 'S';
        looks_ = asleep ? looks_ + 1 : 0;
        if (asleep)
            so_far_ += interval;
        next_ = now + interval;
    }

    static constexpr milliseconds interval{10};
    static constexpr int enough_looks = 25;
    Clock::time_point next_;
    int looks_ = 0;
    milliseconds so_far_{0};
};

std::string of_step(const Procedure &procedure, const Step &step)
{
    return std::string(procedure.name) + " of " + step.text;
}

// Returns how often a procedure may be called in a step in which it fails: so often, no client
// tries again to some purpose.
std::size_t most_calls(std::size_t usual)
{
    return 100 + 10 * usual;
}

// Waits for the end of a client that has lost its connection. One that does not notice that, and
// waits for calls, has to be told to quit.
void need_end(Session &session, const std::string &after)
{
    Client &client = session.client();
    Sleep sleep;
    session.host.serve_until([&] { return !client.running() || sleep.is_deep(client); },
                             session.subject().limit);
    session.host.options().exit_limit = session.subject().limit;
    if (const Outcome ended = session.host.quit(client); client.running())
        throw Violation{ended.text + ", after " + after};
    if (const auto status = client.exit_status; status && WIFSIGNALED(*status))
        throw untimely_end(client.title() + ": " + describe_exit(status) + ", after " + after);
}

// In each step, has the first call of each procedure end the connection.
void lose_connection(const Subject &subject, Reaction reaction, const std::string &how)
{
    for (const Course &course : courses_of(subject))
        for (const auto &[procedure, usual] : course.calls) {
            Session session(subject);
            session.prepare(course.step);
            session.meddler.meddle = [&,
                                      wanted = procedure](Call &call) -> std::optional<Reaction> {
                if (&call.procedure != wanted)
                    return {};
                return reaction;
            };
            session.run(course.step);
            need_end(session, how + " to " + of_step(*procedure, course.step));
        }
}

// Refuses all calls of the procedure in the step.
void refuse(const Subject &subject, const Course &course, const Procedure &procedure,
            std::size_t usual, Reaction reaction)
{
    Session session(subject);
    session.prepare(course.step);
    std::size_t refused = 0;
    session.meddler.meddle = [&](Call &call) -> std::optional<Reaction> {
        if (&call.procedure != &procedure)
            return {};
        if (++refused == most_calls(usual))
            call.client.process->kill(SIGKILL);
        if (IntT *status = call.procedure.result.status(call.result))
            *status = not_permitted;
        return reaction;
    };
    try {
        session.carry_out(course.step);
    } catch (Violation &violation) {
        if (refused >= most_calls(usual))
            violation = {"it goes on to make a call that fails"};
        violation.seen += std::string(", with ") +
                          (reaction == Reaction::answer ? "a refusal" : "an RPC error") + " of " +
                          of_step(procedure, course.step);
        throw;
    }
}

// Begins the step without waiting for anything.
void send(Session &session, const Step &step)
{
    Client &client = session.client();
    const rpcproc_t number =
        step.command ? callback::vq_api_command_1::number : callback::vq_api_init_1::number;
    const Procedure *procedure = find_procedure(client_procedures(), number);
    VqApiCommandArgT command{step.command.value_or(1)};
    VqApiInitArgT init{1};
    client.turns.begin(procedure->name, static_cast<UIntT>(number));
    session.host.send(client, *procedure,
                      step.command ? static_cast<void *>(&command) : static_cast<void *>(&init));
}

// Answers no call of the procedure in the step.
void leave_unanswered(const Subject &subject, const Step &step, const Procedure &procedure,
                      std::size_t usual)
{
    Session session(subject);
    session.prepare(step);
    Client &client = session.client();
    std::size_t dropped = 0;
    Sleep sleep;
    session.meddler.meddle = [&](Call &call) -> std::optional<Reaction> {
        sleep = {};
        if (&call.procedure != &procedure)
            return {};
        dropped++;
        return Reaction::drop;
    };
    send(session, step);
    const auto look = [&] {
        const bool waits = dropped > 0 && sleep.is_deep(client);
        return waits || !client.running() || client.turns.empty() || client.turns.modal_wait() ||
               dropped >= most_calls(usual);
    };
    const std::string where = of_step(procedure, step);
    // The call may come behind the end of a dialog.
    for (int i = 0; i < most_dialogs && session.host.serve_until(look, subject.limit) &&
                    client.turns.modal_wait() && dropped == 0;
         i++)
        session.host.dialog_event(client, 0, 0, 0);
    if (!look())
        throw Violation{client.title() + ": neither waits for an answer to " + where +
                        " nor gives up within " + std::to_string(subject.limit.count()) + " ms"};
    if (dropped >= most_calls(usual))
        throw Violation{client.title() + ": has called " + std::to_string(dropped) +
                        " times without an answer to " + where};
    if (client.running() && client.caller >= 0)
        shutdown(client.caller, SHUT_RDWR);
    need_end(session, "no answer to " + where);
}

} // namespace

void examine::slow_host(const Subject &subject)
{
    const auto delay = std::min(slow_answer, subject.limit / 4);
    for (const Course &course : courses_of(subject)) {
        if (course.calls.empty())
            continue;
        Session session(subject);
        session.prepare(course.step);
        const Procedure *impatient = nullptr;
        bool delayed = false;
        session.meddler.meddle = [&](Call &call) -> std::optional<Reaction> {
            if (std::exchange(delayed, true))
                return {};
            // The client has its time only while it gets the processor when it wants that; one that
            // never sleeps has more.
            Sleep sleep;
            call.host.serve_until(
                [&] { return !call.client.running() || sleep.so_far(call.client) >= delay; },
                std::min(subject.limit, 10 * delay));
            // A client that waits sends nothing, and does not end the connection.
            pollfd more{call.client.caller, POLLIN, 0};
            if (!call.client.running() || call.client.caller < 0 || poll(&more, 1, 0) > 0)
                impatient = &call.procedure;
            return {};
        };
        session.carry_out(course.step);
        if (impatient)
            throw Violation{"it has not waited for the answer to " +
                            of_step(*impatient, course.step)};
    }
}

void examine::refused(const Subject &subject)
{
    for (const Course &course : courses_of(subject))
        for (const auto &[procedure, usual] : course.calls)
            for (const Reaction reaction : {Reaction::answer, Reaction::rpc_error})
                refuse(subject, course, *procedure, usual, reaction);
}

void examine::unanswered(const Subject &subject)
{
    for (const Course &course : courses_of(subject))
        for (const auto &[procedure, usual] : course.calls)
            leave_unanswered(subject, course.step, *procedure, usual);
}

void examine::half_answered(const Subject &subject)
{
    lose_connection(subject, Reaction::half, "half an answer");
}

void examine::disconnected(const Subject &subject)
{
    lose_connection(subject, Reaction::close, "the end of the connection instead of an answer");
}

} // namespace velt::host
