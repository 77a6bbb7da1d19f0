// The programs that clients have the host run.
#pragma once

#include <list>

#include "host/session/event_loop.h"
#include "host/session/options.h"
#include "host/session/process.h"
#include "host/session/reports.h"

namespace velt::host
{

class Programs
{
public:
    Programs(const Options &options, Reports &reports, EventLoop &loop)
        : options_(options), reports_(reports), loop_(loop)
    {
    }

    // Runs the command line in a shell, and serves until that has ended; it is killed at the limit
    // of a turn. Returns its exit status, 128 and the signal that has killed it, or -1 when it
    // cannot be started. What it leaves in the background runs on.
    IntT run(const Client &client, const std::string &command);
    // Starts the program, and returns the id of its process, or -1 when it cannot be started.
    IntT start(const Client &client, const Startup &what);

    // Forgets the programs that have ended.
    void look_after();
    // Kills the programs that have not ended.
    void end();

private:
    // Returns the process, or nothing when it cannot be started.
    std::list<ClientProcess> try_start(const Client &client, const Startup &what);

    const Options &options_;
    Reports &reports_;
    EventLoop &loop_;
    // The programs of which a process may be running; nobody waits for them.
    std::list<ClientProcess> running_;
};

} // namespace velt::host
