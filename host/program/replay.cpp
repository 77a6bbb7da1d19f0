#include "host/program/replay.h"

#include <csignal>
#include <cstdlib>
#include <iostream>

#include "common/interrupts.h"
#include "common/memory_reserve.h"
#include "host/program/outputs.h"
#include "host/program/session_setup.h"
#include "host/scenario/replay.h"
#include "host/session/host.h"

namespace velt::host
{

int replay(const Arguments &arguments)
{
    keep_memory_back();
    std::signal(SIGPIPE, SIG_IGN);
    watch_interrupts();
    default_home();
    unsetenv("VQPMAP"); // it may belong to another session, a client of which has started this host
    Outputs outputs(arguments);
    Recording recording(arguments.book);
    const SessionText text(recording.language());
    Replay replay(recording, text);
    outputs.begin({}, recording.language());

    Options options = options_of(arguments);
    options.interrupts = [] { return static_cast<int>(interrupts.count); };
    options.trace = [&replay, others = outputs.sink()](const TraceEvent &event) {
        replay.observe(event);
        if (others)
            others(event);
    };
    PrintingConsole console(std::cout, std::cerr);
    Host host(std::move(options), replay, console);
    const Startable &startable = arguments.clients.front();
    while (replay.run(host, host.start(startable.what, replay.client(), startable.name())))
        continue;
    host.end();
    outputs.check();
    outputs.end();
    if (recording.cut_off())
        std::cerr << "vqhost: " << printable(arguments.book)
                  << " was cut off; what it has was played" << std::endl;
    if (replay.difference().empty())
        return done;
    std::cerr << "vqhost: " << printable_lines(replay.difference()) << std::endl;
    return failed;
}

} // namespace velt::host
