// The host against real client processes.

#include "apilib/unix/process.h"
#include "host/hosted_clients.h"
#include "host/trace/trace.h"
#include "host/trace/trace_output.h"
#include "support/json.h"

namespace velt::host
{
namespace
{

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

TEST_F(HostedClients, ClientCallsAnother)
{
    for (const char *script : {"bail out when called", ""}) {
        told.clear();
        setenv("VQTEST", script, 1);
        const Client &callee = host.start(TEST_CLIENT, 20, "callee");
        Client &client = start("call client");
        EXPECT_TRUE(host.command(client, 1));
        EXPECT_EQ(told, (Lines{"command 1", "message hello 0 0", "answer 5",
                               "errno " + std::to_string(no_such_object)}));
        EXPECT_EQ(callee.running(), !*script);
    }
}

TEST_F(HostedClients, BailingOutAndDisconnectingEndTheClientUnreproached)
{
    for (const char *script : {"bail out", "disconnect"}) {
        Client &client = start(script);
        const Outcome outcome = host.command(client, 1);
        EXPECT_TRUE(outcome) << outcome.text;
        EXPECT_FALSE(client.running());
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
    const std::pair<const char *, const char *> ends[] = {
        {"", ""},
        {"fail at the end", "exited with status 9"},
        {"crash at the end", "was killed by signal 9"}};
    for (const auto &[script, report] : ends)
        for (bool detach : {false, true}) {
            SCOPED_TRACE(script);
            Client &client = start(script, detach);
            host.quit(client);
            EXPECT_EQ(client.ended_well(), !*report);
            EXPECT_EQ(console.reported(report), *report != 0);
            console.reports.clear();
        }
}

TEST_F(HostedClients, ALostConnectionFailsTheTurnOfAClientThatDoesNotEnd)
{
    host.options().exit_limit = 100ms;
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
    // One that is killed before it and its client have found each other leaves its registrations:
    // then there are two of the host, and one for each client.
    EXPECT_TRUE(host.serve_until([&] { return mapper->registrations().size() == 6; }, hang));
    host.end();
    EXPECT_TRUE(no_process_in_groups());
    for (const char *end : {"is killed: it has not ended within 100 ms of vq_api_quit_1",
                            "was killed by signal 9 (Killed) while it held control"})
        EXPECT_EQ(console.times_reported(end), 4) << end;
}

using HostedClientsSweep = HostedClients;
TEST_F(HostedClientsSweep, ASecondInterruptLeavesHundredsOfClientsNoTime)
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
    EXPECT_EQ(console.times_reported("): is killed"), 7);
    EXPECT_FALSE(console.reported("has not ended within"));
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

    // One that leaves the group behind a process that ends is found, and no other stays a zombie,
    // although there is one that is not the host's to wait for.
    const pid_t other = fork();
    if (other == 0)
        _exit(0);
    shell.arguments = {"-c",
                       "setsid \"$PROGRAM\" & env -u VQAPIX setsid sh -c 'echo $$ >orphan' &"};
    Client &left = host.start(shell, 41, "left");
    EXPECT_TRUE(host.command(left, 1));
    EXPECT_TRUE(host.quit(left));
    EXPECT_EQ(WEXITSTATUS(left.exit_status.value_or(0)), 9);
    const auto no_child = [] {
        return waitid(P_ALL, 0, nullptr, WEXITED | WNOHANG | WNOWAIT) != 0;
    };
    const auto no_orphan = [] {
        const int id = std::atoi(test::read("orphan").c_str());
        return id > 0 && kill(id, 0) != 0;
    };
    EXPECT_TRUE(host.serve_until(no_orphan, hang));
    EXPECT_EQ(waitpid(other, nullptr, 0), other);
    EXPECT_TRUE(host.serve_until(no_child, hang));

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
    EXPECT_EQ(error_of([&] { start("exit at once"); }),
              "client 3 (tester): exited with status 9 before it acknowledged");
    host.options().start_limit = 200ms;
    EXPECT_EQ(error_of([&] { start("never acknowledge", true); }),
              "client 3 (tester): has not acknowledged within 200 ms");
    // What each process has started comes to this one only when that has been killed.
    Startup chain("/bin/sh");
    chain.arguments = {"-c",
                       "setsid sh -c 'setsid sh -c \"setsid sleep 9999 & wait\" & wait' & wait"};
    EXPECT_THROW(host.start(chain, 1, "chain"), Error);
    EXPECT_EQ(waitid(P_ALL, 0, nullptr, WEXITED | WNOHANG | WNOWAIT), -1) << "a child is left";
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
        serve_until([&, final = last] { return !console.reports.empty() && last_told() == final; });
        EXPECT_EQ(console.reports, Lines{client.title() + ": " + breach}) << script;
        EXPECT_TRUE(host.message(client, "goes on", 0, 0)) << script;
    }
}

TEST_F(HostedClients, SleepersAreHeldToTheLimitAndTheirEnd)
{
    EXPECT_EQ(host.command(start("die asleep"), 1).kind, Outcome::died);
    host.options().turn_limit = 200ms;
    EXPECT_EQ(host.command(start("sleep"), 1).kind, Outcome::late);
    serve_until([&] { return last_told() == "slept"; });
}

TEST_F(HostedClients, ProgramsRunOnlyIfAllowedAndEndWithTheHost)
{
    const auto shell = [this](const char *command) {
        setenv("VQTEST_SHELL", command, 1);
        EXPECT_TRUE(host.command(start(""), 1));
        unsetenv("VQTEST_SHELL");
        return last_told();
    };
    EXPECT_EQ(shell("exit 3"), "shell " + std::to_string(not_permitted));
    EXPECT_TRUE(console.reported("--allow-programs"));
    host.options().allow_programs = true;
    EXPECT_EQ(shell("for i in 3 4 5 6 7 8 9; do [ ! -e /proc/$$/fd/$i ] || exit 9; done; exit 3"),
              "shell 3");
    EXPECT_EQ(shell("kill -9 $$"), "shell 137");
    EXPECT_TRUE(host.command(start("run"), 1));
    const pid_t program = std::stoi(last_told());
    EXPECT_EQ(kill(program, 0), 0);
    setenv("VQTEST_SHELL", "sleep 86400", 1);
    Client &client = start("");
    host.options().turn_limit = 200ms;
    EXPECT_EQ(host.command(client, 1).kind, Outcome::late);
    serve_until([&] { return last_told() == "shell 137"; });
    unsetenv("VQTEST_SHELL");
    host.end();
    EXPECT_EQ(kill(program, 0), -1);
}

TEST_F(HostedClients, WhatIsNotUnderstoodIsRefusedAndTheSessionGoesOn)
{
    Client &client = start("bad calls");
    EXPECT_TRUE(host.command(client, 1));
    EXPECT_EQ(last_told(),
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
        events.back().arguments = events.back().result = {};
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
    EXPECT_EQ(test::json_at(json[1], "/procedure"), "\"api_vq_alert_1\"");
    EXPECT_EQ(test::json_at(json[1], "/number"), "1008");
    EXPECT_EQ(test::json_at(json[1], "/depth"), "1");
    EXPECT_EQ(test::json_at(json[1], "/arguments/str1"), "\"notify 1 2 \\\"\\né\U0010F0A1 3\"");
    EXPECT_EQ(test::json_at(json[1], "/outcome"), "\"answered\"");

    // Which of the four a filter lets through, when the alert's answer is one that refuses.
    IntT refusal = -60;
    events[1].result = {&shape_of<IntT>, &refusal};
    const std::pair<const char *, std::vector<int>> filters[] = {
        {"", {0, 1, 2, 3}},
        {"api_vq_alert_1", {1}},
        {"*_over_*,*notify_1", {0, 2, 3}},
        {"failures, api_vq_*", {1}},
        {"failures", {1}},
        {"*_over_1,failures", {}},
        {"client=3", {0, 1, 2, 3}},
        {"client=2", {}},
        {"status=-60,status=5", {1}},
        {"client=2,client=3", {0, 1, 2, 3}},
        {"status=0", {}},
        {"api_vq_*,status=-60", {1}},
        {"duration>=0us", {1, 2, 3}},
        {"duration>=1000s", {}},
        {"duration>=2.5ms", {3}},
    };
    events[1].duration = events[2].duration = 2ms;
    events[3].duration = 2500us;
    for (const auto &[list, wanted] : filters) {
        std::vector<int> shown;
        for (int i = 0; i < 4; i++)
            if (TraceFilter(list).shows(events[static_cast<std::size_t>(i)]))
                shown.push_back(i);
        EXPECT_EQ(shown, wanted) << list;
    }
    const std::pair<const char *, const char *> mistakes[] = {
        {"api_vq_alrt_1",
         "no procedure is called \"api_vq_alrt_1\"; do you mean \"api_vq_alert_1\"?"},
        {"state=3",
         "a filter has no \"state=3\"; there are names of procedures, failures, client="},
        {"duration>=3", "duration>=3: not a time in us, ms or s"},
        {"duration>=ms", "duration>=ms: not a time"},
        {"client=x", "client=x: a client goes by its number"},
        {"alert", "do you mean \"*alert*\"?"},
        {"failure", "do you mean \"failures\"?"},
    };
    for (const auto &[list, told_of] : mistakes)
        EXPECT_PART(error_of([&, what = list] { TraceFilter{what}; }), told_of);
}

} // namespace
} // namespace velt::host
