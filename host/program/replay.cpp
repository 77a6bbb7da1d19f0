#include "host/program/replay.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <map>

#include "common/interrupts.h"
#include "common/memory_reserve.h"
#include "host/program/outputs.h"
#include "host/program/session_setup.h"
#include "host/scenario/replay.h"
#include "host/session/host.h"
#include "velt/vde/language.h"

namespace velt::host
{
namespace
{

// Which program plays which client of the recording.
class Cast
{
public:
    explicit Cast(const Arguments &arguments) : arguments_(arguments) {}

    // A client is called for by its name or its number; those of which neither is named are for the
    // others, in their order.
    const Startable &program_of(int number, const std::string &name)
    {
        const auto known = parts_.find(number);
        if (known != parts_.end())
            return arguments_.clients[known->second];
        const std::string by_number = std::to_string(number), unnamed;
        for (const std::string &each : {name.empty() ? by_number : name, by_number, unnamed})
            for (std::size_t i = 0; i < arguments_.parts.size(); i++)
                if (arguments_.parts[i] == each && !is_taken(i)) {
                    parts_[number] = i;
                    return arguments_.clients[i];
                }
        std::string others;
        for (std::size_t i = 0; i < arguments_.parts.size(); i++)
            if (!is_taken(i))
                others += (others.empty() ? "; up to there it has none for " : ", ") +
                          arguments_.parts[i] + "=" + arguments_.clients[i].what.path;
        misuse(arguments_.book + " has client " + std::to_string(number) +
               (name.empty() ? "" : " (" + name + ")") + " too: add --client " +
               (name.empty() ? by_number : name) + "=PATH" + others);
    }
    // Throws Error when a program has played none.
    void check() const
    {
        for (std::size_t i = 0; i < arguments_.parts.size(); i++)
            if (!is_taken(i))
                misuse("--client " + arguments_.clients[i].what.path + ": " + arguments_.book +
                       " has no such client");
    }

private:
    bool is_taken(std::size_t program) const
    {
        return std::ranges::any_of(parts_,
                                   [=](const auto &each) { return each.second == program; });
    }

    const Arguments &arguments_;
    std::map<int, std::size_t> parts_; // by the number of the client, the program
};

void finish(Update &update, const Recording &recording)
{
    update.commit();
    const std::string path = printable(recording.path());
    if (update.changes() == 0) {
        std::cerr << "vqhost: " << path << " stays as it is: the clients do what they did\n";
        return;
    }
    std::cerr << "vqhost: " << path << " was written anew\n";
    for (const std::string &each : update.notes())
        std::cerr << "  " << printable_lines(each) << '\n';
    if (const std::size_t more = update.changes() - update.notes().size())
        std::cerr << "  and " << more << " more\n";
    if (!std::cerr)
        fail("what has changed could not be told");
}

// Ends the files but the report, unless they have ended. Returns whether one is lost, which is
// told.
bool end(Outputs &outputs, Checks &checks)
{
    const std::vector<std::string> lost = outputs.end();
    for (const std::string &each : lost) {
        std::cerr << "vqhost: " << printable_lines(each) << std::endl;
        checks.failed(each);
    }
    return !lost.empty();
}

// Plays the recording, and notes what came of it.
int play(const Arguments &arguments, Outputs &outputs, Checks &checks)
{
    Recording recording(arguments.book);
    outputs.begin({}, recording.language());
    const SessionText text(recording.language());
    std::optional<Update> update;
    try {
        if (arguments.update)
            update.emplace(recording);
    } catch (const std::runtime_error &error) {
        fail(std::string(error.what()) +
             "; without --update what differs is told, and nothing written");
    }
    Cast cast(arguments);
    Replay replay(
        recording, text, arguments.order,
        [&cast](Host &host, int number, const std::string &name) {
            const Startable &program = cast.program_of(number, name);
            host.start(program.what, number, name.empty() ? program.name() : name);
        },
        update ? &*update : nullptr);

    Options options = options_of(arguments);
    options.interrupts = [] { return static_cast<int>(interrupts.count); };
    options.trace = [&replay, others = outputs.sink()](const TraceEvent &event) {
        replay.observe(event);
        if (others)
            others(event);
    };
    options.host_failed = [&replay](const std::exception_ptr &why) { replay.host_failed(why); };
    PrintingConsole console(std::cout, std::cerr);
    Host host(std::move(options), replay, console);
    try {
        replay.run(host);
    } catch (const std::exception &) {
        if (update)
            std::cerr << "vqhost: it cannot be played on, so the recording stays as it was\n";
        throw;
    }
    host.end();
    replay.compare_exits();
    if (interrupts.signal)
        throw Interrupted();
    const bool unplayable = !replay.difference().empty();
    const bool cut_off = recording.cut_off() && !arguments.allow_cut_off;
    if (recording.cut_off())
        std::cerr << "vqhost: " << printable(arguments.book)
                  << " was cut off; what it has was played"
                  << (cut_off ? "; --allow-cut-off takes that for done" : "") << std::endl;
    if (cut_off)
        checks.failed("the recording was cut off");
    if (unplayable) {
        std::cerr << "vqhost: " << printable_lines(replay.difference()) << std::endl;
        checks.unmet("replay", replay.difference());
    } else {
        cast.check();
        checks.met("replay");
        if (!update)
            std::cerr << "vqhost: " << replay.calls() << (replay.calls() == 1 ? " call" : " calls")
                      << ", as recorded" << std::endl;
    }
    const bool lost = end(outputs, checks);
    if (update && (unplayable || lost))
        std::cerr << "vqhost: "
                  << (unplayable ? "it cannot be played on" : "not all could be written")
                  << ", so the recording stays as it was" << std::endl;
    if (unplayable || lost)
        return failed;
    outputs.check();
    if (update)
        finish(*update, recording);
    return cut_off ? failed : done;
}

} // namespace

int replay(const Arguments &arguments)
{
    keep_memory_back();
    std::signal(SIGPIPE, SIG_IGN);
    watch_interrupts();
    default_home();
    unsetenv("VQPMAP"); // it may belong to another session, a client of which has started this host
    Outputs outputs(arguments);
    Checks checks(std::cerr);
    int code = failed;
    try {
        code = play(arguments, outputs, checks);
    } catch (const std::exception &reason) {
        checks.failed(reason_of(reason));
        try {
            end(outputs, checks);
            outputs.write_report(checks);
        } catch (const std::exception &error) {
            std::cerr << "vqhost: " << printable_lines(reason_of(error)) << std::endl;
        }
        throw;
    }
    outputs.write_report(checks);
    return code;
}

} // namespace velt::host
