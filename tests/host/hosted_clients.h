// A host with client processes whose behaviour the tests choose.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "host/answers/responder.h"
#include "host/script/commands.h"
#include "support/errors.h"
#include "support/folder.h"
#include "support/scripted_responder.h"
#include "velt/api.h"

namespace velt::host
{

using namespace std::chrono_literals;
using test::error_of;
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

    bool reported(const std::string &part) const { return times_reported(part) > 0; }
    std::ptrdiff_t times_reported(const std::string &part) const
    {
        return std::ranges::count_if(reports,
                                     [&](auto &line) { return line.find(part) != line.npos; });
    }
};

class HostedClients : public test::InFolder
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
        Client &client = host.start(client_program(), next, "tester", detach);
        groups.push_back(client.process->group());
        if (code)
            host.initialise(client, *code);
        next++;
        return client;
    }

    // The client, or vqrecord in its place where VQRECORD has its path.
    static Startup client_program()
    {
        const char *recorder = std::getenv("VQRECORD");
        Startup what(recorder ? recorder : TEST_CLIENT);
        if (recorder)
            what.arguments = {"-o", "/dev/null", TEST_CLIENT};
        return what;
    }

    template <class Condition>
    void serve_until(Condition done)
    {
        for (const auto end = std::chrono::steady_clock::now() + hang;
             !done() && std::chrono::steady_clock::now() < end;)
            host.serve(10ms);
        EXPECT_TRUE(done());
    }

    std::string last_told() const { return told.empty() ? "" : told.back(); }

    bool no_process_in_groups() const
    {
        return std::ranges::none_of(groups, [](pid_t group) { return kill(-group, 0) == 0; });
    }

    Options options()
    {
        // As a parent that has no interest in its children leaves it.
        std::signal(SIGCHLD, SIG_IGN);
        Options made;
        made.port_mapper = mapper;
        made.start_limit = made.turn_limit = made.exit_limit = made.patience = hang;
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

} // namespace velt::host
