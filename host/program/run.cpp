#include "host/program/run.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <system_error>

#include "common/interrupts.h"
#include "common/memory_reserve.h"
#include "host/program/outputs.h"
#include "host/program/prompt.h"
#include "host/program/session_setup.h"
#include "host/scenario/player.h"
#include "host/script/input.h"

namespace velt::host
{
namespace
{

// The interrupts of a script, for which a person presses Ctrl-C, or another program sends SIGINT.
class ScriptInterrupts
{
public:
    // Returns how often a signal has told the host to end. The first SIGINT does not while a client
    // holds control: it cancels what that does, and tells the host to end when that has ended.
    int count(Host &host, Console &console)
    {
        if (state_ == none_yet && interrupts.signal == SIGINT && interrupts.count == 1 &&
            host.cancel_work()) {
            state_ = put_off;
            interrupts.signal = 0;
            interrupts.count = 0;
            console.report("interrupted: the run ends when what the client does is over; another "
                           "interrupt ends it at once");
        } else if (state_ == put_off && !host.any_client_holds_control()) {
            end();
        }
        return interrupts.count;
    }

    // From here on every interrupt counts, also one that was put off.
    void end()
    {
        if (state_ == put_off && interrupts.count == 0) {
            interrupts.signal = SIGINT;
            interrupts.count = 1;
        }
        state_ = over;
    }

private:
    enum { none_yet, put_off, over } state_ = none_yet;
};

Descriptor open_script(const std::string &path)
{
    for (;;) {
        Descriptor script(open(path.c_str(), O_RDONLY | O_CLOEXEC));
        if (script)
            return script;
        if (interrupts.signal)
            throw Interrupted();
        if (errno != EINTR)
            misuse(path + ": cannot read the script: " + std::generic_category().message(errno));
    }
}

void carry_out(Commands &commands, const Arguments &arguments, Host *host, Prompt &prompt,
               Checks &checks)
{
    if (arguments.interactive())
        return prompt.run(commands, host);
    const auto finish = [&] {
        if (!commands.any_done())
            std::cerr << "vqhost: there was no command to carry out" << std::endl;
        commands.finish();
        commands.expect_all_asked_for(checks);
    };
    if (!arguments.commands.empty()) {
        commands.run_arguments(arguments.commands, checks);
        return finish();
    }
    const bool is_input = arguments.script_is_input();
    const Descriptor opened = is_input ? Descriptor() : open_script(arguments.script);
    const std::string name = is_input ? "standard input" : arguments.script;
    ServedInput input(is_input ? STDIN_FILENO : opened.get(), name, host);
    std::istream script(&input);
    // This has the stream pass on the exceptions that the input throws.
    script.exceptions(std::ios::badbit);
    if (!commands.run_script(script, name, checks) && !is_input)
        misuse(name + ": there is no command in it");
    finish();
}

// Tells a person what is lost with the end of the run.
void tell_unsaved(const Commands &commands)
try {
    for (const auto &[is_book, name, saving, copy] : commands.unsaved())
        std::cerr << "vqhost: the changes of " << (is_book ? "the " : "") << name
                  << (copy.empty() ? " were not saved and are lost; " + saving + " them"
                                   : " are in " + printable_line(copy) + " only")
                  << std::endl;
} catch (const std::exception &) {
    std::cerr << "vqhost: changes that were not saved are lost; there is no memory to tell of what"
              << std::endl;
}

// What a run does whatever has failed before, and why it failed.
class Attempts
{
public:
    explicit Attempts(Checks &checks) : checks_(checks) {}

    template <class Action>
    void operator()(Action action)
    {
        try {
            action();
        } catch (const std::exception &reason) {
            checks_.failed(reason_of(reason));
            // The first error has ended the run and is thrown at last; those that follow from it
            // are printed here.
            if (error_)
                std::cerr << "vqhost: " << printable_lines(reason_of(reason)) << std::endl;
            else
                error_ = std::current_exception();
        }
    }

    bool failed() const { return error_ != nullptr; }
    void rethrow() const
    {
        if (error_)
            std::rethrow_exception(error_);
    }

private:
    Checks &checks_;
    std::exception_ptr error_;
};

void check_scenario(const ScenarioPlayer &player, Checks &checks)
{
    std::string all;
    for (const std::string &failure : player.failures()) {
        std::cerr << "vqhost: " << printable_lines(failure) << std::endl;
        all += (all.empty() ? "" : "\n") + failure;
    }
    if (!all.empty())
        return checks.unmet("scenario", all);
    std::cerr << "vqhost: " << player.taken() << (player.taken() == 1 ? " call" : " calls")
              << ", as expected" << std::endl;
    checks.met("scenario");
}

void run_book(const Arguments &arguments, Outputs &outputs, Checks &checks, Attempts &attempt)
{
    default_home();
    Model model;
    BookFile file(arguments.book);
    Documents documents(model);
    const UIntT book = file.load(model, arguments.language);
    documents.set_book(book, file);
    std::vector<std::string> read;
    for (UIntT each : model.components(book))
        if (const std::string path = documents.component_file(each); !path.empty())
            read.push_back(path);
    outputs.begin(read, model.language());
    PrintingConsole console(std::cout, std::cerr);
    const bool interactive = arguments.interactive();
    Prompt prompt(std::filesystem::path(arguments.book).parent_path());
    ScriptInterrupts script_interrupts;
    if (interactive)
        console.person = &prompt;
    console.bar = isatty(STDOUT_FILENO);

    Spelling spelling(console);
    if (!arguments.words.empty())
        spelling.read(arguments.words, model.language());
    ModelResponder responder({model, documents, &spelling});
    std::unique_ptr<Host> host;
    documents.ask = [&](const Question &question) {
        return host ? host->ask(question) : console.ask(question);
    };
    const SessionText session(model.language());
    ScenarioPlayer player(responder, session);
    for (const std::string &path : arguments.scenarios)
        player.add(read_scenario(path, model.language(),
                                 arguments.debug ? no_limit : arguments.time_limit));
    const bool plays = !arguments.scenarios.empty();
    bool host_failed = false;
    // Who names a port mapper wants a session, also one that only others join.
    if (!arguments.clients.empty() || arguments.port_mapper != Arguments::whichever) {
        // VQPMAP may belong to another session, a client of which has started this host.
        unsetenv("VQPMAP");
        Options options = options_of(arguments);
        options.interrupts = [&] {
            return interactive ? prompt.interruptions()
                   : host      ? script_interrupts.count(*host, console)
                               : static_cast<int>(interrupts.count);
        };
        options.trace = outputs.sink();
        options.host_failed = [&](const std::exception_ptr &why) {
            host_failed = true;
            outputs.host_failed(why);
        };
        if (plays)
            options.trace = [&player, others = options.trace](const TraceEvent &event) {
                player.observe(event);
                if (others)
                    others(event);
            };
        Responder &answers = plays ? static_cast<Responder &>(player) : responder;
        host = std::make_unique<Host>(std::move(options), answers, console);
        documents.announcer.set_host(host.get());
    }

    Commands commands({.model = model,
                       .documents = documents,
                       .console = console,
                       .host = host.get(),
                       .clients = arguments.clients,
                       .book = book,
                       .file = file,
                       .out = std::cout,
                       .colour = coloured(STDOUT_FILENO),
                       .check = [&] { outputs.check(); }});
    attempt([&] {
        Commands::check_names(arguments.commands);
        for (const Startable &client : arguments.clients) {
            try {
                commands.start(client, arguments.init_code);
            } catch (const std::exception &error) {
                // A person is told and can go on, since `start` is one of the commands.
                if (!interactive || interrupts.signal)
                    throw;
                std::cerr << printable_lines(reason_of(error)) << std::endl;
                checks.failed(reason_of(error));
            }
        }
        carry_out(commands, arguments, host.get(), prompt, checks);
    });
    script_interrupts.end();
    if (host)
        attempt([&] { host->end(); });
    tell_unsaved(commands);
    if (plays)
        check_scenario(player, checks);
    // The console has already reported how these clients ended, and what the host could not do.
    if (host)
        for (const Client &client : host->clients())
            if (!commands.ended_well(client))
                checks.failed(client.title() + ": " + client.ending());
    if (host_failed)
        checks.failed("the host itself has failed");
}

} // namespace

int run(const Arguments &arguments)
{
    keep_memory_back();
    // Output that nobody reads is an error like others and must not kill the process.
    std::signal(SIGPIPE, SIG_IGN);
    watch_interrupts();
    Outputs outputs(arguments);
    Checks checks(std::cerr);
    Attempts attempt(checks);
    attempt([&] { run_book(arguments, outputs, checks, attempt); });
    std::cout.flush();
    if (!attempt.failed())
        attempt([&] { outputs.check(); });
    for (const std::string &each : outputs.end())
        attempt([&] { fail(each); });
    const bool well = checks.summarise();
    if (checks.empty())
        checks.met("the run"); // it has come to its end
    attempt([&] { outputs.write_report(checks); });
    attempt.rethrow();
    return well ? done : failed;
}

} // namespace velt::host
