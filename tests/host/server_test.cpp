// The host against real client processes.

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "apilib/unix/process.h"
#include "host/answers/responder.h"
#include "host/script/commands.h"
#include "host/trace/trace.h"
#include "host/trace/trace_output.h"
#include "support/scripted_responder.h"
#include "velt/api.h"

namespace velt::host
{
namespace
{

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

// Only what hangs takes so long.
constexpr auto hang = 5min;

struct TestConsole : Console {
    Lines reports;

    Reply ask(const Question &) override { return IntT{0}; }
    void report(const std::string &line) override
    {
        reports.push_back(line);
        if (hears)
            hears(line);
    }
    std::function<void(const std::string &)> hears;

    bool reported(const std::string &part) const
    {
        for (const std::string &line : reports)
            if (line.find(part) != std::string::npos)
                return true;
        return false;
    }
};

class HostedClients : public testing::Test
{
protected:
    HostedClients()
    {
        responder.on<procedure::api_vq_alert_1>(
            [this](Client &, const ApiVqAlertArgT &alert, IntT &answer) {
                told.emplace_back(alert.str1);
                answer = 0;
            });
    }
    ~HostedClients() override
    {
        unsetenv("VQTEST");
        host.end();
        EXPECT_TRUE(mapper->registrations().empty());
        for (const Client &client : host.clients())
            EXPECT_EQ(waitpid(client.pid, nullptr, WNOHANG), -1) << "not reaped";
        EXPECT_TRUE(no_process_in_groups());
    }

    Client &start(const char *script, bool detach = false, std::optional<IntT> code = {})
    {
        setenv("VQTEST", script, 1);
        Client &client = host.start(TEST_CLIENT, next, "tester", detach);
        groups.push_back(client.process->group());
        if (code)
            host.initialise(client, *code);
        next++;
        return client;
    }

    template <class Condition>
    void serve_until(Condition done)
    {
        for (const auto end = std::chrono::steady_clock::now() + hang;
             !done() && std::chrono::steady_clock::now() < end;)
            host.serve(10ms);
        EXPECT_TRUE(done());
    }

    bool no_process_in_groups() const
    {
        for (pid_t group : groups)
            if (kill(-group, 0) == 0)
                return false;
        return true;
    }

    Options options()
    {
        // As a parent that has no interest in its children leaves it.
        std::signal(SIGCHLD, SIG_IGN);
        Options made;
        made.port_mapper = mapper;
        made.start_limit = made.turn_limit = made.exit_limit = hang;
        return made;
    }

    Model model;
    TestConsole console;
    std::shared_ptr<SessionPortMapper> mapper = std::make_shared<SessionPortMapper>();
    Documents documents{model};
    ModelResponder answers{{model, documents}};
    ScriptedResponder responder{answers};
    Host host{options(), responder, console};
    Lines told, text, json; // outlive the host's last call
    std::vector<pid_t> groups;
    int next = 3;
};

TEST_F(HostedClients, EachCallReachesItsCallbackAndControlComesBack)
{
    for (bool detach : {false, true}) {
        told.clear();
        Client &client = start("", detach, 1);
        EXPECT_EQ(client.number, detach ? 4 : 3);
        EXPECT_EQ(client.pid != client.process->group(), detach);
        EXPECT_TRUE(host.command(client, -2));
        EXPECT_TRUE(host.notify(client, 33, 4000000000, "string", -5));
        EXPECT_TRUE(host.message(client, "text", 7, 8));
        EXPECT_TRUE(host.dialog_event(client, 9, 10, 11));
        EXPECT_TRUE(host.command(client, 3));
        EXPECT_EQ(told, (Lines{"init 1", "command -2", "notify 33 4000000000 string -5",
                               "message text 7 8", "dialog event 9 10 11", "command 3"}));
        EXPECT_TRUE(host.quit(client));
        EXPECT_FALSE(client.running());
        EXPECT_EQ(client.exit_status, 0);
        EXPECT_EQ(mapper->registrations().size(), 2U) << "the host's own";
    }
    EXPECT_TRUE(console.reports.empty()) << console.reports[0];
}

TEST(EventLoop, DropsWhatConcernsARemovedClient)
{
    EventLoop loop([] {}, [] {});
    Client removed, other;
    Lines done;
    for (const Client *client : {&removed, &other})
        loop.defer(
            *client, [] { return true; },
            [&, client] { done.push_back(client == &removed ? "removed" : "other"); });
    loop.forget(removed);
    loop.serve_pending();
    EXPECT_EQ(done, Lines{"other"});
}

TEST_F(HostedClients, ClientLearnsWhoItIs)
{
    Client &client = start("who am I");
    EXPECT_EQ(client.directory + "host_test_client", TEST_CLIENT);
    EXPECT_TRUE(host.command(client, 1));
    EXPECT_EQ(told, (Lines{"command 1", "3 tester /somewhere"}));
}

TEST_F(HostedClients, ClientCallsAnother)
{
    host.start(TEST_CLIENT, 20, "callee");
    Client &client = start("call client");
    EXPECT_TRUE(host.command(client, 1));
    EXPECT_EQ(told, (Lines{"command 1", "message hello 0 0", "answer 5",
                           "errno " + std::to_string(no_such_object)}));
}

TEST_F(HostedClients, LongTextTravels)
{
    Client &client = start("");
    std::size_t length = 0;
    responder.on<procedure::api_vq_return_value_1>(
        [&](Client &, const IntT &value, IntT &) { length = static_cast<std::size_t>(value); });
    EXPECT_TRUE(host.message(client, std::string(8 << 20, 'x'), 1, 2));
    EXPECT_EQ(length, std::size_t{8} << 20);
}

TEST_F(HostedClients, BailingOutAndDisconnectingEndTheClientUnreproached)
{
    for (const char *script : {"bail out", "disconnect"}) {
        Client &client = start(script);
        const Outcome outcome = host.command(client, 1);
        EXPECT_TRUE(outcome && outcome.bailout) << outcome.text;
        EXPECT_TRUE(host.wait_for_exit(client, hang));
        EXPECT_EQ(client.exit_status, 0);
        EXPECT_EQ(host.command(client, 2).kind, Outcome::died);
        ASSERT_EQ(console.reports.size(), 1U) << console.reports[0];
        EXPECT_TRUE(console.reported("the client has ended"));
        console.reports.clear();
    }
}

TEST_F(HostedClients, DeathInACallbackIsReportedAndTheSessionGoesOn)
{
    Client &other = start("");
    Client &exits = start("exit");
    const Outcome exited = host.command(exits, 1);
    EXPECT_EQ(exited.kind, Outcome::died);
    EXPECT_EQ(exited.text,
              "client 4 (tester): exited with status 3 while it held control in vq_api_command_1");
    EXPECT_EQ(console.reports, Lines{exited.text});

    Client &crashes = start("crash", true);
    EXPECT_EQ(host.command(crashes, 1).kind, Outcome::died);
    EXPECT_TRUE(console.reported("client 5 (tester): was killed by signal 9"));
    EXPECT_EQ(mapper->registrations().size(), 3U) << "the host's own and the first client's";
    EXPECT_TRUE(host.command(other, 1));
}

TEST_F(HostedClients, LateHandOver)
{
    host.options().turn_limit = 100ms;
    Client &slow = start("");
    kill(slow.pid, SIGSTOP);
    EXPECT_EQ(host.command(slow, 1).kind, Outcome::late);
    EXPECT_TRUE(console.reported("client 3 (tester): has not handed control back within 100 ms"));
    EXPECT_EQ(host.command(slow, 2).kind, Outcome::busy);
    kill(slow.pid, SIGCONT);
    serve_until([&] { return console.reported("handed control back late"); });
    console.reports.clear();
    host.options().turn_limit = hang;
    EXPECT_TRUE(host.command(slow, 3));
    EXPECT_TRUE(console.reports.empty());
}

TEST_F(HostedClients, HowAClientEndsCountsWheneverItDoes)
{
    const struct {
        const char *script;
        bool well;
        const char *report;
    } ends[] = {{"", true, nullptr},
                {"fail at the end", false, "exited with status 9"},
                {"crash at the end", false, "was killed by signal 9"}};
    for (const auto &[script, well, report] : ends) {
        for (bool detach : {false, true}) {
            SCOPED_TRACE(script);
            Client &client = start(script, detach);
            host.quit(client);
            EXPECT_EQ(client.ended_well(), well);
            EXPECT_EQ(console.reported(report ? report : ""), report != nullptr);
            console.reports.clear();
        }
    }
}

TEST_F(HostedClients, ALostConnectionFailsTheTurnAtOnce)
{
    for (const char *script : {"lose calls", "lose service"}) {
        Client &client = start(script);
        EXPECT_EQ(host.command(client, 1).kind, Outcome::undelivered);
        EXPECT_TRUE(
            console.reported("lost its connection while it held control in vq_api_command_1"));
        EXPECT_EQ(host.command(client, 1).kind, Outcome::died) << "it is called no more";
        kill(client.pid, SIGKILL);
        console.reports.clear();
    }
}

TEST_F(HostedClients, WhatHangsOrCallsForEverHasItsLimitAndIsKilledAtTheEnd)
{
    host.options().turn_limit = host.options().exit_limit = 100ms;
    for (const char *script : {"hang", "alert for ever"})
        for (bool detach : {false, true})
            EXPECT_EQ(host.command(start(script, detach), 1).kind, Outcome::late);
    host.end();
    EXPECT_TRUE(no_process_in_groups());
    for (const char *end : {"is killed: it has not ended within 100 ms of vq_api_quit_1",
                            "was killed by signal 9 (Killed) while it held control"})
        EXPECT_EQ(std::ranges::count_if(
                      console.reports,
                      [end](const std::string &line) { return line.find(end) != line.npos; }),
                  4);
}

TEST_F(HostedClients, ASecondInterruptLeavesHundredsOfClientsNoTime)
{
    for (int i = 0; i < 70; i++)
        start("");
    for (Client &client : host.clients())
        if (client.number % 10 == 0)
            kill(client.pid, SIGSTOP);
    int interrupts = 1;
    host.options().interrupts = [&] { return interrupts; };
    EXPECT_THROW(host.serve(hang), Error);
    // The rest has ended; each that is stopped would have `hang`.
    host.options().interrupts = [&] {
        return interrupts + (std::ranges::count_if(host.clients(), &Client::running) == 7);
    };
    host.end();
    host.options().interrupts = nullptr;
    EXPECT_EQ(std::ranges::count_if(
                  console.reports,
                  [](const std::string &line) { return line.ends_with("): is killed"); }),
              7);
}

TEST_F(HostedClients, AClientIsStartedByAnotherProgramOrForADebugger)
{
    // A debugger gives what it starts a process group of its own.
    Startup shell("/bin/sh");
    shell.arguments = {"-c", "setsid \"$PROGRAM\"; exit $?"};
    shell.environment = {"PROGRAM=" TEST_CLIENT, "VQTEST=fail at the end"};
    Client &wrapped = host.start(shell, 40, "wrapped");
    EXPECT_NE(getpgid(wrapped.pid), wrapped.process->group());
    EXPECT_TRUE(host.command(wrapped, 1));
    EXPECT_TRUE(host.quit(wrapped));
    EXPECT_EQ(WEXITSTATUS(wrapped.exit_status.value_or(0)), 9);

    char state = 0;
    host.options().stop_at_start = true;
    console.hears = [&](const std::string &line) {
        const pid_t id = std::stoi(line.substr(line.find("gdb -p ") + 7));
        ProcessFacts facts{};
        EXPECT_TRUE(read_process(id, facts));
        state = facts.state;
        kill(id, SIGCONT);
    };
    EXPECT_TRUE(host.command(start(""), 1));
    EXPECT_EQ(state, 'T');
    console.hears = nullptr;
}

TEST_F(HostedClients, ClientThatDoesNotComeUp)
{
    const auto failure = [this](const char *script, bool detach) -> std::string {
        try {
            start(script, detach);
        } catch (const Error &error) {
            return error.what();
        }
        return "started";
    };
    const std::string client = "client 3 (tester): ";
    EXPECT_EQ(failure("exit at once", false),
              client + "exited with status 9 before it acknowledged");
    host.options().start_limit = 200ms;
    EXPECT_EQ(failure("never acknowledge", true), client + "has not acknowledged within 200 ms");
    EXPECT_TRUE(host.clients().empty());
    EXPECT_THROW(host.start("/nonexistent", 1, "name"), Error);
    EXPECT_THROW(host.start(TEST_CLIENT, 1, "two words"), Error);
    EXPECT_EQ(mapper->registrations().size(), 2U);
}

TEST_F(HostedClients, BreachesOfTurnTakingAreReported)
{
    // With what the client tells last.
    const char *const cases[][3] = {
        {"done twice", "handed control back without holding it", "command 1"},
        {"call after done", "called api_vq_alert_1 while the host holds control", "again"},
        {"take twice", "took control, which it holds already", "command 1"},
    };
    for (const auto &[script, breach, last] : cases) {
        console.reports.clear();
        Client &client = start(script);
        EXPECT_TRUE(host.command(client, 1));
        serve_until([&, final = last] { return !console.reports.empty() && told.back() == final; });
        EXPECT_EQ(console.reports, Lines{client.title() + ": " + breach}) << script;
        EXPECT_TRUE(host.message(client, "goes on", 0, 0)) << script;
    }
}

TEST_F(HostedClients, ModalWaitNests)
{
    Client &client = start("modal");
    responder.on<procedure::api_vq_modal_dialog_1>(
        [this](Client &caller, const ApiVqDoDialogArgT &dialog, IntT &answer) {
            told.push_back("dialog " + std::to_string(dialog.int1));
            answer = 0;
            // The client waits for this very answer.
            EXPECT_EQ(host.dialog_event(caller, 5, 1, 2).kind, Outcome::queued);
            if (told.size() < 4)
                host.command(caller, 2);
            host.dialog_event(caller, 0, 0, told.size() < 4 ? 41 : 42);
        });
    EXPECT_TRUE(host.command(client, 1));
    EXPECT_TRUE(client.turns.empty());
    EXPECT_EQ(told, (Lines{"command 1", "dialog 5", "dialog event 5 1 2", "command 2", "dialog 5",
                           "result 41", "dialog event 5 1 2", "result 42"}));
    EXPECT_TRUE(console.reports.empty()) << console.reports[0];
}

TEST_F(HostedClients, AModalDialogThatIsRefusedEndsItsWait)
{
    Client &client = start("modal");
    EXPECT_TRUE(host.command(client, 1));
    EXPECT_EQ(told.back(), "result " + std::to_string(no_such_object));
}

TEST_F(HostedClients, ModalDialogsWaitForTheirEndsAndNest)
{
    Client &client = start("dialogs");
    EXPECT_EQ(host.command(client, 1).kind, Outcome::modal);
    EXPECT_TRUE(host.dialog_event(client, 5, 1, 9));
    EXPECT_EQ(host.dialog_event(client, 5, 2, 0).kind, Outcome::modal);
    EXPECT_EQ(host.dialog_event(client, 6, 2, 0).kind, Outcome::modal);
    EXPECT_TRUE(host.message(client, "hello", 0, 0)) << "others reach it meanwhile";
    EXPECT_TRUE(host.end_dialog(client, 0, 70));
    EXPECT_EQ(client.turns.modal_wait()->number, 6);
    EXPECT_TRUE(host.end_dialog(client, 0, 60));
    EXPECT_TRUE(host.end_dialog(client, 0, 50));
    EXPECT_TRUE(client.turns.empty());
    EXPECT_EQ(told,
              (Lines{"command 1", "dialog event 5 1 9", "dialog event 5 2 0", "dialog event 6 2 0",
                     "message hello 0 0", "result 70 of 7", "result 60 of 7", "result 50 of 5"}));
    EXPECT_TRUE(console.reports.empty()) << console.reports[0];

    EXPECT_EQ(host.command(client, 1).kind, Outcome::modal);
    EXPECT_EQ(host.dialog_event(client, 5, 2, 0).kind, Outcome::modal);
    EXPECT_TRUE(host.quit(client)) << "which ends both dialogs";
    EXPECT_EQ(told.back(), "result " + std::to_string(cancelled) + " of 5");
}

// What the script's person sees of it.
TEST_F(HostedClients, ScriptsEndModalDialogsOrRunIntoTheLimit)
{
    std::ostringstream out;
    PrintingConsole printing(out, out);
    BookFile file("book");
    const UIntT book = read_book(R"({"title": "T", "components": []})", "book", model);
    Commands commands({model, documents, printing, &host, {}, book, file, out, false});
    const auto error = [&](const auto &action) -> std::string {
        try {
            action();
            return "";
        } catch (const Error &failure) {
            return failure.what();
        }
    };
    Client &client = start("dialogs", false);
    model.subscribe(client.number, 7, true);
    host.command(client, 1);
    for (const char *line :
         {"expect dialog Outer", "dialog 5 2", "expect dialog Inner", "dialog end 1", "notify 7",
          "expect dialog Outer", "expect notification 7", "expect not notification after_open"})
        EXPECT_EQ(error([&] { commands.run(line); }), "") << line;
    EXPECT_NE(out.str().find("waits in modal dialog 6 (Inner); \"dialog end\" ends it"),
              std::string::npos)
        << out.str();

    host.options().turn_limit = 50ms;
    for (const auto &action : {std::function<void()>([&] { commands.finish(); }),
                               std::function<void()>([&] { commands.run("wait exit"); })})
        EXPECT_EQ(error(action),
                  "client 3 (tester) waits in modal dialog 5 (Outer), and nobody has "
                  "ended it; \"dialog end\" does");
    host.options().turn_limit = hang;
    commands.run("dialog 0 0 2");
    EXPECT_EQ(told.back(), "result 2 of 5");
    EXPECT_EQ(error([&] { commands.run("dialog end"); }), "no client waits for a modal dialog");
    EXPECT_EQ(error([&] { commands.finish(); }), "");
}

TEST_F(HostedClients, AClientInAModalDialogIsCalledAndOneThatCannotAnswerIsReported)
{
    const auto callee = [this](const char *script) -> Client & {
        setenv("VQTEST", script, 1);
        return host.start(TEST_CLIENT, next++, "callee");
    };
    Client &waits = callee("dialogs");
    host.command(waits, 1);
    EXPECT_TRUE(host.command(start("call client"), 1));
    EXPECT_EQ(told[3], "answer 5");
    EXPECT_TRUE(host.quit(waits));
    EXPECT_TRUE(console.reports.empty()) << console.reports[0];

    Client &opens = callee("dialog in message");
    EXPECT_TRUE(host.command(start("call client"), 1));
    EXPECT_TRUE(
        console.reported("has not answered client 6 (tester): it waits for a modal dialog"));
    EXPECT_TRUE(host.quit(opens));

    Client &busy = callee("hang");
    host.options().turn_limit = 50ms;
    host.command(busy, 1);
    host.options().turn_limit = hang;
    EXPECT_TRUE(host.command(start("call client"), 1));
    EXPECT_TRUE(console.reported("is not called: the client holds control"));
    kill(busy.pid, SIGKILL);
}

TEST_F(HostedClients, AClientThatHoldsControlIsNotifiedAfterwardsUnlessItIsTheCause)
{
    documents.announcer.serve(&host);
    const UIntT doc = model.create_document("");
    const V_TextLocT place{model.at(model.at(doc).first).first, 0};
    Client &callee = host.start(TEST_CLIENT, next++, "callee");
    Client &caller = start("call client");
    for (const Client &each : host.clients())
        model.subscribe(each.number, V_notification_text_changed, true);
    responder.on<procedure::api_vq_return_value_1>([&](Client &cause, const IntT &, IntT &) {
        model.add_text(doc, place, "x");
        documents.announcer.announce_changes(&cause);
        told.emplace_back("changed");
    });
    EXPECT_TRUE(host.command(caller, 1));
    const std::string notified =
        "notify 1000000007 " + std::to_string(doc) + "  " + std::to_string(place.objId);
    serve_until([&] { return told.back() == notified; });
    EXPECT_EQ(told, (Lines{"command 1", "message hello 0 0", "changed", "answer 0", "errno -3",
                           notified}));
    EXPECT_TRUE(console.reports.empty()) << console.reports[0];
    EXPECT_TRUE(callee.running());
}

TEST_F(HostedClients, SleepersAreHeldToTheLimitAndTheirEnd)
{
    EXPECT_EQ(host.command(start("die asleep"), 1).kind, Outcome::died);
    host.options().turn_limit = 200ms;
    EXPECT_EQ(host.command(start("sleep"), 1).kind, Outcome::late);
    serve_until([&] { return told.back() == "slept"; });
}

TEST_F(HostedClients, TheFirstToAskIsToldOfACancelOnce)
{
    host.cancel();
    EXPECT_TRUE(host.command(start("cancel"), 1));
    EXPECT_TRUE(told.back() == "1 0" || told.back() == "0 1") << told.back();
}

TEST_F(HostedClients, ProgramsRunOnlyIfAllowedAndEndWithTheHost)
{
    const auto shell = [this](const char *command) {
        setenv("VQTEST_SHELL", command, 1);
        EXPECT_TRUE(host.command(start(""), 1));
        unsetenv("VQTEST_SHELL");
        return told.back();
    };
    EXPECT_EQ(shell("exit 3"), "shell " + std::to_string(not_permitted));
    EXPECT_TRUE(console.reported("--allow-programs"));
    host.options().allow_programs = true;
    EXPECT_EQ(shell("for i in 3 4 5 6 7 8 9; do [ ! -e /proc/$$/fd/$i ] || exit 9; done; exit 3"),
              "shell 3");
    EXPECT_EQ(shell("kill -9 $$"), "shell 137");
    EXPECT_TRUE(host.command(start("run"), 1));
    const pid_t program = std::stoi(told.back());
    EXPECT_EQ(kill(program, 0), 0);
    setenv("VQTEST_SHELL", "sleep 86400", 1);
    Client &client = start("");
    host.options().turn_limit = 200ms;
    EXPECT_EQ(host.command(client, 1).kind, Outcome::late);
    serve_until([&] { return told.back() == "shell 137"; });
    unsetenv("VQTEST_SHELL");
    host.end();
    EXPECT_EQ(kill(program, 0), -1);
}

TEST_F(HostedClients, WhatIsNotUnderstoodIsRefusedAndTheSessionGoesOn)
{
    Client &client = start("bad calls");
    EXPECT_TRUE(host.command(client, 1));
    EXPECT_EQ(told.back(),
              std::to_string(RPC_CANTDECODEARGS) + " " + std::to_string(RPC_PROCUNAVAIL));
    EXPECT_TRUE(console.reported("api_vq_get_string_1 has arguments that do not decode"));
    EXPECT_TRUE(console.reported("called procedure 4711, which is unknown"));
    EXPECT_TRUE(host.command(client, 2));
}

TEST_F(HostedClients, ReplyThatIsDropped)
{
    Client &client = start("give up waiting");
    responder.dropped = procedure::api_vq_alert_1::number;
    EXPECT_TRUE(host.command(client, 1));
    EXPECT_TRUE(told.empty());
    responder.dropped = 0;
    EXPECT_TRUE(host.command(client, 2));
    EXPECT_EQ(told, Lines{"command 2"});
}

int status_of(pid_t pid)
{
    int status = 0;
    waitpid(pid, &status, 0);
    return WEXITSTATUS(status);
}

TEST_F(HostedClients, ProcessIsTakenInOverUdp)
{
    const auto visit = [this] {
        const pid_t pid = fork();
        if (pid == 0) {
            setenv("VQTEST_SESSION", std::to_string(host.session_program()).c_str(), 1);
            setenv("VQPMAP", mapper->name().c_str(), 1);
            execl(TEST_CLIENT, TEST_CLIENT, nullptr);
            _exit(127);
        }
        return pid;
    };

    responder.admission = -17;
    const pid_t refused = visit();
    serve_until([&] { return console.reported("(visitor) was not admitted: status -17"); });
    EXPECT_EQ(status_of(refused), 117);
    EXPECT_TRUE(host.clients().empty());

    responder.admission = 0;
    const pid_t pid = visit();
    serve_until(
        [&] { return !host.clients().empty() && host.clients().front().connection.is_open(); });
    ASSERT_FALSE(host.clients().empty());
    Client &client = host.clients().front();
    EXPECT_EQ(client.pid, pid);
    EXPECT_EQ(client.name, "visitor");
    EXPECT_TRUE(host.command(client, 12));
    EXPECT_EQ(told, Lines{"command 12"});
    EXPECT_TRUE(host.quit(client));
    EXPECT_EQ(status_of(pid), 0);
}

TEST_F(HostedClients, TraceShowsBothDirections)
{
    const SessionText session(0);
    std::vector<TraceEvent> events;
    host.options().trace = [&](const TraceEvent &event) {
        events.push_back(event);
        TraceEvent shown = event;
        if (shown.duration)
            shown.duration = 213us;
        text.push_back(trace_text(shown, session, false));
        json.push_back(trace_json(shown, session));
    };
    Client &client = start("");
    text.clear();
    json.clear();
    events.clear();
    host.notify(client, 1, 2, "\"\n\x8E\xA1", 3);
    host.options().trace = nullptr;
    EXPECT_EQ(
        text,
        (Lines{
            R"([client 3] -> vq_api_notify_1(notification=1, objectId=2, stringArg="\"\né\xa1", intArg=3))",
            R"([client 3]       api_vq_alert_1(str1="notify 1 2 \"\né\xa1 3", int2=0) = 0 <0.000213>)",
            R"([client 3]       api_vq_over_1(0) = void <0.000213>)",
            R"([client 3] <- vq_api_notify_1: handed control back <0.000213>)",
        }));
    ASSERT_EQ(json.size(), 4U);
    const Json alert = Json::parse(json[1]);
    EXPECT_EQ(alert["procedure"], "api_vq_alert_1");
    EXPECT_EQ(alert["number"], 1008);
    EXPECT_EQ(alert["depth"], 1);
    EXPECT_EQ(alert["arguments"]["str1"], "notify 1 2 \"\né\U0010F0A1 3");
    EXPECT_EQ(alert["outcome"], "answered");

    // Which of the four a filter lets through, when the alert's answer is one that refuses.
    events[1].result = -60;
    const std::pair<const char *, std::vector<int>> filters[] = {
        {"", {0, 1, 2, 3}},          {"api_vq_alert_1", {1}}, {"*_over_*,*notify_1", {0, 2, 3}},
        {"failures, api_vq_*", {1}}, {"failures", {1}},       {"*_over_1,failures", {}},
    };
    for (const auto &[list, wanted] : filters) {
        std::vector<int> shown;
        for (int i = 0; i < 4; i++)
            if (TraceFilter(list).shows(events[static_cast<std::size_t>(i)]))
                shown.push_back(i);
        EXPECT_EQ(shown, wanted) << list;
    }
    EXPECT_THROW(TraceFilter("api_vq_alert"), std::runtime_error);
}

} // namespace
} // namespace velt::host
