// How a client starts.

#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <fstream>
#include <iostream>

#include "host/check/points.h"

namespace velt::host
{
namespace
{

// Runs the client with a description that no session begins with, and returns how it has ended.
void need_failure(Session &session, const Subject &subject, const std::string &description,
                  const std::string &how)
{
    std::cerr << new_line << std::flush;
    ClientProcess process(subject.client, description, session.mapper().name());
    if (!session.host.serve_until([&] { return process.ended(); }, subject.limit))
        throw Violation{"it has not ended within " + std::to_string(subject.limit.count()) +
                        " ms " + how};
    const std::optional<int> status = process.first_status();
    if (!status || !WIFEXITED(*status) || WEXITSTATUS(*status) == 0)
        throw Violation{"it " + describe_exit(status) + " " + how};
}

// Gives this process a name of the machine of its own. Throws Skipped where the system does not let
// it have one.
void leave_machine_name()
{
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(CLONE_NEWUTS) == 0)
        return;
    if (unshare(CLONE_NEWUSER | CLONE_NEWUTS) != 0)
        throw Skipped{"the system lets no process have its own name of the machine"};
    const auto write = [](const char *file, const std::string &text) {
        std::ofstream(file) << text << std::flush;
    };
    write("/proc/self/setgroups", "deny");
    write("/proc/self/uid_map", std::to_string(user) + " " + std::to_string(user) + " 1");
    write("/proc/self/gid_map", std::to_string(group) + " " + std::to_string(group) + " 1");
}

} // namespace

void examine::start(const Subject &subject)
{
    Session session(subject);
    Client &client = session.start();
    if (client.pid == client.process->group())
        return;
    // A program that runs the client waits for it; a client that has detached itself has left.
    const auto left = [&] { return client.process->first_status().has_value(); };
    if (session.host.serve_until(left, std::min(subject.limit, std::chrono::milliseconds(1000))))
        throw Violation{"the process that was started has ended, and another one acknowledged",
                        {},
                        "go on in the process that was started: in a script, exec the client"};
}

void examine::initialisation(const Subject &subject)
{
    Session session(subject);
    session.prepare(first_step);
    session.carry_out(first_step);
    session.settle();
}

void examine::detached(const Subject &subject)
{
    Session session(subject);
    Client &client = session.start(true);
    if (client.pid == client.process->group())
        throw Violation{"the process that was started is the client itself"};
    const auto left = [&] { return client.process->first_status().has_value(); };
    if (!session.host.serve_until(left, subject.limit))
        throw Violation{"the process that was started has not ended"};
    if (const auto status = client.process->first_status(); status != 0)
        throw Violation{"the process that was started " + describe_exit(status)};
    session.serving(true);
}

void examine::description(const Subject &subject)
{
    for (const auto &[number, length] : {std::pair{0, 1}, std::pair{INT_MAX, 255}})
        for (const bool detach : {false, true}) {
            Session session(subject);
            session.start(detach, number, std::string(static_cast<std::size_t>(length), 'n'));
            session.settle();
        }
}

void examine::no_description(const Subject &subject)
{
    Session session(subject);
    need_failure(session, subject, "", "without VQAPIX");
    for (const char *part : {"nonsense", "1.1 2.1 3.4", "1.1 2.1 3.4."})
        need_failure(session, subject, part, "with VQAPIX=\"" + std::string(part) + '"');
}

void examine::no_host(const Subject &subject)
{
    constexpr UIntT own = 0x20001000, nobodys = 0x20001001;
    Session session(subject);
    const std::string description = std::to_string(own) + ".1 " + std::to_string(nobodys) + ".1 " +
                                    std::to_string(getpid()) + ".-2." + subject.name;
    need_failure(session, subject, description, "without a host");
    if (session.mapper().find(own, 1, IPPROTO_TCP) != 0)
        throw Violation{"its program is still registered with the port mapper"};
}

void examine::localhost(const Subject &subject)
{
    leave_machine_name();
    // Nobody has an address for the last one, since a label in DNS has at most 63 characters.
    for (const std::string &name :
         {std::string("localhost"), std::string("LOCALHOST"), std::string(64, 'x')}) {
        if (sethostname(name.data(), name.size()) != 0)
            throw Skipped{"the system lets no process name the machine"};
        try {
            Session session(subject);
            session.serving();
            session.settle();
        } catch (Violation &violation) {
            violation.seen += ", on a machine that is called " + name;
            throw;
        }
    }
}

} // namespace velt::host
