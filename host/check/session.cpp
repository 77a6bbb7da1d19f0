#include "host/check/session.h"

#include <sys/wait.h>

#include <algorithm>
#include <iostream>

#include "host/script/commands.h"
#include "host/script/window.h"

namespace velt::host
{
namespace
{

// The first code has clients define their commands.
constexpr IntT defining_code = 1;
constexpr std::chrono::milliseconds hurry{100};

Options options_of(const Subject &subject, std::shared_ptr<WatchedMapper> mapper)
{
    Options options;
    options.start_limit = options.turn_limit = subject.limit;
    // Only some points are about the ends of clients; in others a client that does not end is
    // killed.
    options.exit_limit = std::min(subject.limit, hurry);
    options.patience = no_limit; // nobody watches
    options.port_mapper = std::move(mapper);
    options.interrupts = [] { return static_cast<int>(interrupts.count); };
    return options;
}

// Only some of what may be wrong is what the points that start a client advise against.
Violation violation_of(const StartFailure &failure)
{
    const int status = failure.exit_status.value_or(0);
    if (WIFSIGNALED(status))
        return untimely_end(failure.what(), "reach V_ApiRun in main");
    // So ends what does not find its libraries, and a shell that does not find a program.
    if (WEXITSTATUS(status) == 126 || WEXITSTATUS(status) == 127)
        return {failure.what(), {}, "see in its output what it has not found; ldd lists libraries"};
    return {failure.what(), {}, failure.was_started ? "" : no_advice};
}

} // namespace

Session::Desk::Desk(const Subject &subject)
    : file(lay_out(subject.book, subject.folder)), book(file.load(model))
{
    documents.set_book(book, file);
}

Session::Session(const Subject &subject)
    : subject_(subject), desk_(subject), host(options_of(subject, mapper_), meddler, person)
{
    desk_.documents.ask = [this](const Question &question) { return host.ask(question); };
    desk_.documents.announcer.set_host(&host);
    mapper_->has_ended = [this](UIntT program) {
        return client_ && client_->program == program && !client_->running();
    };
}

Session::~Session()
{
    // What a point has handed these may be gone, and the client still calls.
    meddler.meddle = nullptr;
    meddler.handed_over = nullptr;
    mapper_->has_ended = nullptr;
    person.listens = false;
    try {
        if (client_ && client_->running())
            host.kill(*client_);
    } catch (const std::exception &) {
        // There is no memory left; the client ends with its ClientProcess object.
    }
}

Client &Session::start(bool detach)
{
    return start(detach, 1, subject_.name);
}

Client &Session::start(bool detach, int number, const std::string &name)
{
    probe_.reset();
    if (client_ && client_->running())
        host.kill(*client_);
    desk_.model.forget_subscriptions(number);
    std::cerr << new_line << std::flush;
    try {
        client_ = &host.start(subject_.client, number, name, detach);
    } catch (const StartFailure &failure) {
        throw violation_of(failure);
    }
    return *client_;
}

void Session::initialise(IntT code)
{
    Outcome outcome = host.initialise(client(), code);
    for (int i = 0; outcome.kind == Outcome::modal && i < most_dialogs; i++)
        outcome = host.end_dialog(client(), 0, 0);
    need_hand_over(outcome, first_step);
    initialised_ = true;
}

Client &Session::serving(bool detach)
{
    if (!initialised_) {
        if (!client_)
            start(detach);
        initialise(defining_code);
    }
    if (!serves()) {
        start(detach);
        initialise(service_code);
    }
    if (!serves())
        throw Skipped{"it ends whenever it is initialised, and carries out no commands"};
    return client();
}

void Session::prepare(const Step &step)
{
    if (step.command)
        serving();
    else
        start();
}

Outcome Session::begin(const Step &step)
{
    if (!step.command)
        return host.initialise(client(), defining_code);
    return host.command(serving(), *step.command);
}

Outcome Session::run(const Step &step)
{
    Outcome outcome = begin(step);
    for (int i = 0; outcome.kind == Outcome::modal && i < most_dialogs; i++)
        outcome = host.end_dialog(client(), 0, 0);
    return outcome;
}

void Session::carry_out(const Step &step)
{
    need_hand_over(run(step), step);
}

Probe &Session::probe()
{
    if (!probe_)
        probe_ = std::make_unique<Probe>(
            host, client(), mapper_->find(client().program, client().version, IPPROTO_TCP),
            subject_.limit);
    return *probe_;
}

void Session::settle()
{
    if (!serves())
        return;
    probe().call(NULLPROC);
    // What the client sent before it answered that is here by now.
    for (std::size_t before = SIZE_MAX, now = 0; now != before;) {
        before = meddler.calls.size() + meddler.hand_overs;
        for (int rounds = 0; rounds < 2; rounds++)
            host.serve_pending();
        now = meddler.calls.size() + meddler.hand_overs;
    }
}

std::vector<Step> Session::commands(bool all)
{
    const int number = serving().number;
    const SessionText text(desk_.model.language());
    const Window window(desk_.model, desk_.book, text);
    std::vector<Step> steps;
    for (const Object *item : window.menu_items()) {
        const std::string label = window.label(*item), numeral = std::to_string(item->command);
        Step step{"its command " + numeral + " (" + label + ")", item->command, label};
        for (const std::string &each : subject_.commands)
            if (each == label || each == numeral || each == window.shown(item->name))
                step.asked_for.push_back(each);
        if (item->client == number && (all || subject_.commands.empty() || !step.asked_for.empty()))
            steps.push_back(std::move(step));
    }
    return steps;
}

Violation untimely_end(std::string seen, const std::string &care)
{
    return {std::move(seen),
            {},
            "find where it ends by vqhost run with --debug; return from each callback, and " +
                care};
}

void need_hand_over(const Outcome &outcome, const Step &step, const std::string &care)
{
    const std::string seen = outcome.text + ", in " + step.text;
    if (outcome.kind == Outcome::died)
        throw untimely_end(seen, care);
    if (!outcome)
        throw Violation{seen};
}

} // namespace velt::host
