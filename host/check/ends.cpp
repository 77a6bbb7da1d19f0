// How a client ends, and what it leaves behind.

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include "apilib/unix/process.h"
#include "common/descriptor.h"
#include "common/words.h"
#include "host/check/courses.h"
#include "host/check/points.h"
#include "host/check/processes.h"

namespace velt::host
{
namespace
{

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// The time that what a client leaves behind may take to end by itself.
constexpr milliseconds linger{2000};

constexpr int rounds = 3;

// Tells the client to quit. Throws Violation when it does not end.
void quit_client(Session &session)
{
    session.host.options().exit_limit = session.subject().limit;
    if (const Outcome ended = session.host.quit(session.client()); session.client().running())
        throw Violation{ended.text};
}

void need_no_signal(const Client &client, const std::string &when)
{
    if (client.exit_status && WIFSIGNALED(*client.exit_status))
        throw untimely_end(client.title() + ": " + describe_exit(client.exit_status) + ", " + when);
}

// Calls back when the client has bailed out, in each step in which it does, and has ended. Returns
// in how many that was.
template <class Examine>
int each_bail_out(const Subject &subject, Examine examine)
{
    int found = 0;
    for (const Course &course : courses_of(subject)) {
        if (!course.bails_out)
            continue;
        Session session(subject);
        session.prepare(course.step);
        session.host.options().exit_limit = subject.limit;
        session.carry_out(course.step);
        found++;
        examine(session.client(), course.step);
    }
    return found;
}

// Runs the session, and is killed; tells the client's id before, or why it has come to nothing.
// With `busy` that is when the client waits for the answer to a call.
[[noreturn]] void vanish_with_host(const Subject &subject, bool busy, int out) noexcept
{
    const auto tell = [&](std::string_view text) {
        if (write(out, text.data(), text.size()) < 0)
            _exit(1);
    };
    try {
        Session session(subject);
        session.serving();
        session.settle();
        const auto vanish = [&] {
            tell(std::to_string(session.client().pid));
            raise(SIGKILL);
        };
        if (!busy)
            vanish();
        session.meddler.meddle = [&](Call &) -> std::optional<Responder::Reaction> {
            vanish();
            return {};
        };
        for (const Step &each : session.commands())
            session.carry_out(each);
        tell("0"); // nothing is ever called
    } catch (const Violation &violation) {
        tell(violation.seen);
    } catch (const Skipped &skipped) {
        tell("0");
    } catch (const std::exception &error) {
        tell(error.what());
    } catch (...) {
        _exit(1);
    }
    _exit(0);
}

// Runs the session in a process that is then killed, and returns the client's id.
pid_t lose_host(const Subject &subject, bool busy)
{
    std::array<int, 2> ends;
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    const Descriptor in(ends[0]);
    Descriptor out(ends[1]);
    const pid_t host = fork();
    if (host < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (host == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        vanish_with_host(subject, busy, out.get());
    }
    out = Descriptor();
    std::string told;
    std::array<char, 1024> bytes;
    for (ssize_t got; (got = read(in.get(), bytes.data(), bytes.size())) > 0;)
        told.append(bytes.data(), static_cast<std::size_t>(got));
    waitpid(host, nullptr, 0);
    if (!is_whole_number(told))
        throw Violation{told.empty() ? "the host has ended" : told};
    return number<pid_t>(told);
}

void need_end_without_host(const Subject &subject, bool busy)
{
    const pid_t client = lose_host(subject, busy);
    const std::string when = busy ? "that vanished while it waited for an answer"
                                  : "that vanished while it waited for calls";
    if (client == 0) {
        if (busy)
            return;
        throw Skipped{"it ends whenever it is initialised"};
    }
    const auto until = Clock::now() + subject.limit;
    const auto start = start_of(client);
    for (int status = 0;; poll(nullptr, 0, 10)) {
        // A client that was started in a shell is no child of this process.
        const bool ended = !lives(client, start);
        if (waitpid(client, &status, WNOHANG) == client) {
            if (WIFSIGNALED(status))
                throw untimely_end("it " + describe_exit(status) + " without the host " + when);
            return;
        }
        if (ended)
            return;
        if (Clock::now() >= until)
            throw Violation{"it has not ended within " + std::to_string(subject.limit.count()) +
                            " ms of the end of a host " + when};
    }
}

} // namespace

void examine::bail_out(const Subject &subject)
{
    const int found = each_bail_out(subject, [&](Client &client, const Step &step) {
        if (client.running())
            throw Violation{client.title() + ": has not ended within " +
                            std::to_string(subject.limit.count()) + " ms of its bail-out in " +
                            step.text};
        need_no_signal(client, "when it had bailed out in " + step.text);
    });
    if (found == 0)
        throw Skipped{"it does not bail out, neither when it is initialised nor in a command"};
}

void examine::quit(const Subject &subject)
{
    for (const bool detach : {false, true}) {
        Session session(subject);
        session.serving(detach);
        quit_client(session);
        need_no_signal(session.client(), "when it was told to quit");
    }
}

void examine::quit_in_dialog(const Subject &subject)
{
    for (const Course &course : dialogs_of(subject)) {
        const Step &each = course.step;
        Session session(subject);
        session.prepare(each);
        if (session.begin(each).kind != Outcome::modal)
            continue;
        quit_client(session);
        need_no_signal(session.client(), "when it was told to quit in a dialog of " + each.text);
    }
}

void examine::exit_status(const Subject &subject)
{
    const auto need_success = [](const Client &client, const std::string &when) {
        if (client.exit_status && *client.exit_status != 0)
            throw Violation{client.title() + ": " + describe_exit(client.exit_status) + ", " +
                            when};
    };
    for (const bool detach : {false, true}) {
        Session session(subject);
        session.serving(detach);
        quit_client(session);
        need_success(session.client(), "when it was told to quit");
    }
    {
        // What its commands leave behind may show no earlier.
        Session session(subject);
        for (const Step &each : session.commands())
            session.carry_out(each);
        session.serving();
        quit_client(session);
        need_success(session.client(), "when it was told to quit after its commands");
    }
    each_bail_out(subject, [&](Client &client, const Step &step) {
        need_success(client, "when it had bailed out in " + step.text);
    });
}

void examine::processes(const Subject &subject)
{
    Session session(subject);
    session.host.options().exit_limit = subject.limit; // what is killed ends no others
    for (const Step &each : session.commands())
        session.carry_out(each);
    session.serving();
    quit_client(session);
    std::string left;
    const auto none_left = [&] {
        left.clear();
        for (const Relative &each : descendants(getpid()))
            if (!each.ended)
                left += (left.empty() ? "" : ", ") + std::to_string(each.id) + " (" +
                        command_line(each.id) + ")";
        return left.empty();
    };
    if (!session.host.serve_until(none_left, std::min(linger, subject.limit)))
        throw Violation{"the process " + left + " still runs when the client has ended"};
}

void examine::descriptors(const Subject &subject)
{
    for (const Course &course : commands_of(subject)) {
        if (course.bails_out)
            continue;
        const Step &each = course.step;
        Session session(subject);
        session.prepare(each);
        // What a client opens once and keeps is open when it has carried out the command twice.
        const auto repeat = [&](int times) {
            for (int i = 0; i < times; i++)
                session.carry_out(each);
            session.settle();
            return descriptors_of(session.client().pid);
        };
        const std::vector<std::string> before = repeat(2);
        const pid_t client = session.client().pid;
        if (before.empty())
            throw Skipped{session.client().running() ? "the system does not tell of its descriptors"
                                                     : "it ends in " + each.text};
        std::vector<std::string> after = repeat(rounds);
        if (session.client().pid != client || after.size() < before.size() + rounds)
            continue;
        std::erase_if(after, [&](const std::string &one) {
            return std::ranges::find(before, one) != before.end();
        });
        throw Violation{"it has " + std::to_string(after.size()) + " more, " + joined(after) +
                        ", when it has carried out " + each.text + " " + std::to_string(rounds) +
                        " times more"};
    }
}

void examine::registration(const Subject &subject)
{
    const auto need_none = [](Session &session, const std::string &when) {
        if (session.mapper().left_over)
            throw Violation{"its program is still registered when it has ended, " + when};
    };
    for (const bool detach : {false, true}) {
        Session session(subject);
        session.serving(detach);
        quit_client(session);
        need_none(session, detach ? "detached" : "not detached");
    }
}

void examine::vanished_host(const Subject &subject)
{
    for (const bool busy : {false, true})
        need_end_without_host(subject, busy);
}

} // namespace velt::host
