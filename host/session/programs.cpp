#include "host/session/programs.h"

#include <sys/wait.h>

#include <csignal>
#include <system_error>

namespace velt::host
{

std::list<ClientProcess> Programs::try_start(const Client &client, const Startup &what)
{
    std::list<ClientProcess> begun;
    try {
        begun.emplace_back(what, "", "").set_id(begun.back().group());
    } catch (const std::system_error &error) {
        reports_.of(client,
                    std::string("had a program run that cannot be started: ") + error.what());
    }
    return begun;
}

IntT Programs::run(const Client &client, const std::string &command)
{
    Startup shell("/bin/sh");
    shell.arguments = {"-c", command};
    std::list<ClientProcess> begun = try_start(client, shell);
    if (begun.empty())
        return -1;
    ClientProcess &process = begun.front();
    const auto ended = [&] { return process.ended(); };
    if (!loop_.serve_until([&] { return ended() || !client.running(); }, options_.turn_limit,
                           EventLoop::Time::counted))
        reports_.of(client, "had a command run that is killed, because it has not ended in time: " +
                                command);
    if (!ended()) {
        process.kill(SIGKILL);
        loop_.serve_until(ended, kill_limit, EventLoop::Time::counted);
    }
    const int status = process.status().value_or(-1);
    if (!process.group_ended())
        running_.splice(running_.end(), begun);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

IntT Programs::start(const Client &client, const Startup &what)
{
    std::list<ClientProcess> begun = try_start(client, what);
    if (begun.empty())
        return -1;
    const IntT id = begun.front().group();
    running_.splice(running_.end(), begun);
    return id;
}

void Programs::end()
{
    for (ClientProcess &each : running_)
        if (!each.end())
            reports_.tell("a program that a client had run " + each.left_behind());
    running_.clear();
}

void Programs::look_after()
{
    running_.remove_if([](ClientProcess &each) { return each.group_ended(); });
}

} // namespace velt::host
