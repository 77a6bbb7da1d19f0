// Clients as processes of a host of plain sockets: start-up and its failures, control and its
// hand-overs, the watch on the host's life, connecting to a session that runs.

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "apilib/unix/transport/transport.h"
#include "support/raw_host.h"

namespace
{

constexpr rpcprog_t session_program = 0x20000200;
constexpr int own_descriptor = 20;
constexpr int log_descriptor = 21;

using Environment = std::map<std::string, std::string>;

// A client as a process, whose log, errors and a descriptor of its own come and go through sockets.
class ClientProcess
{
public:
    explicit ClientProcess(Environment environment)
    {
        environment["SESSION_LOG"] = std::to_string(log_descriptor);
        id = fork();
        if (id == 0) {
            unsetenv("VQAPIX");
            for (auto &[name, value] : environment)
                setenv(name.c_str(), value.c_str(), 1);
            dup2(errors.theirs, STDERR_FILENO);
            dup2(own.theirs, own_descriptor);
            dup2(log.theirs, log_descriptor);
            execl(TEST_CLIENT, TEST_CLIENT, nullptr);
            _exit(127);
        }
        for (const Link *link : {&errors, &own, &log})
            close(link->theirs);
    }
    ~ClientProcess()
    {
        if (id > 0) {
            kill(id, SIGKILL);
            waitpid(id, nullptr, 0);
        }
    }

    // The next line of the client's log or error stream; empty at the end, or when none comes.
    std::string line() { return log.line(); }
    std::string error() { return errors.line(); }
    // Makes its own descriptor readable.
    void poke() { EXPECT_TRUE(own.send("x")); }
    int exit_status()
    {
        int status = -1;
        EXPECT_EQ(waitpid(id, &status, 0), id);
        id = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    struct Link : velt::test::Peer {
        explicit Link(std::pair<int, int> ends = velt::test::connected_sockets())
            : Peer(ends.first), theirs(fcntl(ends.second, F_DUPFD_CLOEXEC, 64))
        {
            close(ends.second);
        }
        std::string line()
        {
            std::string line;
            for (std::string byte; (byte = receive(1)) != "\n" && !byte.empty();)
                line += byte;
            return line;
        }
        int theirs; // not one of those that the client has it as
    };

    Link own, log, errors;
    pid_t id;
};

// The host's connection to a client's service, as plain bytes.
struct Caller : velt::test::Peer {
    explicit Caller(const RawMapper *mapper = nullptr)
        : Peer(mapper ? mapper->registered()
                      : velt::mapper_find(velt::on_loopback(), client_program, client_version,
                                          IPPROTO_TCP, {120, 0}))
    {
    }
    // The same call several times over goes in one segment.
    void call_of(UIntT procedure, const std::string &arguments, int times = 1)
    {
        std::string calls;
        while (times-- > 0)
            calls += velt::test::fragment(
                velt::test::head(procedure, ++last, client_program, client_version) +
                hex(arguments));
        EXPECT_TRUE(send(calls));
    }
    // The accept status of the next reply, which is to the last call.
    int status()
    {
        const std::string reply = receive_record();
        EXPECT_EQ(reply.substr(0, 20), words({last, 1, 0, 0, 0}));
        return reply.at(23);
    }
    int call(UIntT procedure, const std::string &arguments)
    {
        call_of(procedure, arguments);
        return status();
    }

    UIntT last = 100;
};

// A string on the wire, in digits.
std::string counted(const std::string &what)
{
    return text(words({static_cast<UIntT>(what.size())}) + what +
                std::string((4 - what.size() % 4) % 4, '\0'));
}

class Session : public testing::Test
{
protected:
    // What the host got next: the procedure, and its argument where there is one.
    std::string host_call()
    {
        std::optional<HostCall> call = host->next();
        if (!call)
            return "none";
        return std::to_string(call->procedure) +
               (call->arguments.empty() ? "" : " " + std::to_string(word_at(call->arguments, 0)));
    }
    void says(const std::vector<std::string> &lines)
    {
        for (const std::string &line : lines)
            EXPECT_EQ(client->line(), line);
    }
    // A callback: it is answered at once, the client says these lines, and hands control back.
    void turn(UIntT procedure, const std::string &arguments, const std::vector<std::string> &lines,
              const char *handed_back = "1002 0")
    {
        EXPECT_EQ(caller->call(procedure, arguments), 0);
        says(lines);
        EXPECT_EQ(host_call(), handed_back);
    }
    // The callback of a message, by which a client is told what to do.
    void order(const std::string &what, std::vector<std::string> lines = {},
               const char *handed_back = "1002 0")
    {
        lines.insert(lines.begin(), "message " + what + " 7 8");
        turn(4, message(what), lines, handed_back);
    }
    static std::string message(const std::string &what)
    {
        return counted(what) + "00000007 00000008";
    }
    // Starts a client and waits for its acknowledgement.
    void start(Environment environment = {}, const RawMapper *mapper = nullptr)
    {
        start_alone(std::move(environment));
        caller.emplace(mapper);
    }
    // Nobody calls the client, which may end meanwhile.
    void start_alone(Environment environment)
    {
        if (!environment.count("VQAPIX"))
            environment["VQAPIX"] = identity(getpid(), "-4.tester");
        client.emplace(std::move(environment));
        std::optional<HostCall> call = host->next();
        ASSERT_TRUE(call);
        ASSERT_EQ(call->procedure, 1000U);
        process = static_cast<pid_t>(word_at(call->arguments, 0));
    }
    void quit()
    {
        EXPECT_EQ(caller->call(1, ""), 0);
        ended();
    }
    void ended()
    {
        says({"exit 0 number 3 timeout 604800"});
        EXPECT_EQ(client->exit_status(), 0);
        EXPECT_EQ(client->error(), "");
        EXPECT_TRUE(host->idle());
    }
    static void expect_failure(const Environment &environment, const std::string &message,
                               const std::string &name = "tester")
    {
        ClientProcess failing(environment);
        EXPECT_EQ(failing.error(), "Velt API client \"" + name + "\": " + message + ".");
        EXPECT_EQ(failing.error(), "");
        EXPECT_EQ(failing.exit_status(), 1);
    }

    std::optional<RawHost> host{std::in_place};
    std::optional<ClientProcess> client;
    std::optional<Caller> caller;
    pid_t process = 0;
};

// What a client needs to be on a machine of that name, with the machine's port mapper.
Environment on_machine(const std::string &name, const RawMapper &mapper)
{
    return {{"VQPMAP", ""}, {"MACHINE_MAPPER", mapper.name()}, {"MACHINE_NAME", name}};
}

TEST_F(Session, StartUpFailures)
{
    const Environment sound{{"VQAPIX", identity(getpid(), "-1.tester")}};
    for (const Environment &unsound : {Environment{}, Environment{{"VQAPIX", "1.1 2.1 3.4"}}})
        expect_failure(unsound, "not called by a Velt product", "???");
    expect_failure({{"VQAPIX", identity(getpid(), "-1.tester")}, {"NO_SOCKET", ""}},
                   "unable to create TCP service");
    for (const char *sessions : {"1", ""})
        expect_failure({{"VQAPIX", identity(getpid(), "-1.tester")}, {"VQPMAP", sessions}},
                       "unable to register TCP client).");
    ClientProcess alone({{"VQAPIX", identity(getpid(), "5.tester")}, {"NO_FORK", ""}});
    EXPECT_EQ(alone.error(), "Velt API client \"tester\": unable to fork.");
    EXPECT_EQ(alone.line(), "exit 1 number 5 timeout 0"); // its number is known all the same

    host->answer([](const HostCall &) { return HostReply{{}, {}, 3}; });
    expect_failure(sound, "unable to make initial contact");
    EXPECT_EQ(host->next()->procedure, 1000U);
    host.reset();
    expect_failure(sound, "unable to create TCP client");
    // Nothing stays registered.
    EXPECT_FALSE(velt::mapper_unset(client_program, client_version));

    host.emplace();
    RawMapper mapper(*host);
    Environment nowhere = on_machine("nowhere.invalid", mapper);
    nowhere.insert(*sound.begin());
    expect_failure(nowhere, "unable to gethostbyname");
}

// Every call to the port mapper by its version, procedure and argument.
TEST_F(Session, TellsThePortMapper)
{
    const auto number = [](UIntT value) { return " " + text(words({value})); };
    const auto string = [](const std::string &what) { return " " + counted(what); };
    const std::string ours = number(client_program) + number(client_version);
    const std::string lookup =
        "2 3" + number(host_program) + number(host_version) + number(6) + number(0) + "\n";
    const std::string unset = "2 2" + ours + number(0) + number(0) + "\n";
    RawMapper mapper(*host);
    start({{"VQPMAP", mapper.name()}}, &mapper);
    quit();
    EXPECT_EQ(mapper.told(), unset + "2 1" + ours + number(6) + number(mapper.registered()) + "\n" +
                                 lookup + unset);

    // The machine's hears the network's name, an address and the user's number.
    start(on_machine("localhost", mapper), &mapper);
    quit();
    const std::string owner = string(std::to_string(geteuid())) + "\n";
    const std::string address = "0.0.0.0." + std::to_string(mapper.registered() / 256) + "." +
                                std::to_string(mapper.registered() % 256);
    const std::string unset_both = "3 2" + ours + string("udp") + string("") + owner + "3 2" +
                                   ours + string("tcp") + string("") + owner;
    EXPECT_EQ(mapper.told(), unset_both + "3 1" + ours + string("tcp") + string(address) + owner +
                                 lookup + unset_both);
}

TEST_F(Session, ForksUnlessTheNumberIsNegative)
{
    start({{"VQAPIX", identity(getpid(), "3.my client")}});
    EXPECT_EQ(client->exit_status(), 0); // the parent, at once
    EXPECT_NE(process, 0);
    EXPECT_EQ(kill(process, 0), 0);
    const std::string old_style = "\": Velt process sent old-style notification.";
    // The name ends at white space.
    caller->call_of(5, "00000001 00000002 00000000");
    EXPECT_EQ(client->error(), "Velt API client \"my" + old_style);
    EXPECT_EQ(caller->call(1, ""), 0);
    says({"exit 0 number 3 timeout 604800"});

    start({{"VQAPIX", identity(getpid(), "-4." + std::string(300, 'n'))}});
    caller->call_of(5, "00000001 00000002 00000000");
    EXPECT_EQ(client->error(), "Velt API client \"" + std::string(255, 'n') + old_style);
    quit();
}

TEST_F(Session, CallbacksHandControlBackOnce)
{
    start();
    turn(2, "00000001", {"init 1"});
    turn(3, "fffffffe", {"command -2"});
    order("hello");
    turn(7, "00000009 00000002 00000000 ffffffff", {"notify 9 2  -1"});
    turn(7, "0000004b 00000002 0000000d 611e621e 631e641e 651e661e 67000000 00000004",
         {"filter 2 f g 4"});
    turn(6, "00000001 00000002 fffffffd", {"dialog event 1 2 -3"});
    turn(6, "00000000 00000000 00000005", {}); // the end of a modal wait that there is not
    order("done", {"done 0 -1"});
    order("take", {"take -1"});
    // Every call was one hand-over; a bail-out goes with the last.
    EXPECT_TRUE(host->idle());
    order("bail", {}, "1002 1");
    ended();
}

TEST_F(Session, NestedCallbacksAreDropped)
{
    start();
    EXPECT_EQ(caller->call(4, message("service")), 0);
    says({"message service 7 8"});
    EXPECT_EQ(caller->call(3, "00000001"), 0); // answered
    EXPECT_EQ(client->error(), "Velt API client \"tester\": Nested "
                               "API_Init/V_ApiNotify/V_ApiMessage/V_ApiCommand.");
    says({"service 1"});
    EXPECT_EQ(host_call(), "1002 0"); // of the outer one
    quit();
}

TEST_F(Session, AModalDialogWithoutAnAnswerIsNotWaitedFor)
{
    start();
    host->answer([](const HostCall &) { return HostReply{{}, {}, 3}; });
    EXPECT_EQ(caller->call(4, message("modal")), 0);
    says({"message modal 7 8", "modal 0"});
    EXPECT_EQ(host_call(), "1316 7");
    EXPECT_EQ(host_call(), "1002 0");
    quit();
}

TEST_F(Session, OddCallsAreAnsweredAndTheSessionGoesOn)
{
    start();
    EXPECT_EQ(caller->call(0, ""), 0);
    EXPECT_EQ(caller->call(8, ""), 3); // no such procedure
    EXPECT_EQ(caller->call(3, ""), 4); // no argument
    EXPECT_EQ(caller->call(4, "00000002 61620000 00000001"), 4);
    caller->call_of(5, "00000001 00000002 00000000");
    EXPECT_EQ(client->error(),
              "Velt API client \"tester\": Velt process sent old-style notification.");
    EXPECT_EQ(caller->call(0, ""), 0); // the first reply since
    turn(3, "00000004", {"command 4"});
    quit();
}

TEST_F(Session, WatchesItsDescriptorsAndWaitsOnItsOwn)
{
    start({{"OWN_LOOP", std::to_string(own_descriptor)}, {"SHORT_WAIT", ""}});
    says({"fd added"}); // the service
    EXPECT_EQ(caller->call(0, ""), 0);
    says({"fd added"}); // this connection
    client->poke();
    says({"own -1 0 -1 0"});
    EXPECT_EQ(host_call(), "1343");
    EXPECT_EQ(host_call(), "1002 0");
    {
        Caller second;
        EXPECT_EQ(second.call(0, ""), 0);
        says({"fd added"});
    }
    says({"fd removed"});
    order("watch", {"previous some"});
    EXPECT_EQ(caller->call(1, ""), 0);
    says({"ended"});
    EXPECT_EQ(client->exit_status(), 0);
}

TEST_F(Session, CallsThatHaveComeAreServedToWhoWaitsByItself)
{
    start({{"WAIT_LOOP", ""}});
    says({"fd added"});
    EXPECT_EQ(caller->call(0, ""), 0);
    says({"fd added"});
    caller->call_of(4, message("slow"), 4);
    for (int i = 0; i < 4; i++) {
        says({"message slow 7 8"});
        EXPECT_EQ(host_call(), "1002 0");
    }
}

TEST_F(Session, ServesWhatTheClientRegistersItself)
{
    start();
    order("mask", {"mask of 1"}); // the descriptor that is ready
    EXPECT_EQ(caller->call(4, message("serve")), 0);
    says({"message serve 7 8"});
    sockaddr_in address = velt::on_loopback(static_cast<in_port_t>(std::stoi(client->line())));
    EXPECT_EQ(host_call(), "1002 0");
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const auto call = [&] {
        const Bytes bytes = words({9, 0, 2, 0x20000300, 1, 5, 0, 0, 0, 0});
        sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr *>(&address),
               sizeof address);
    };
    call();
    says({"own service 5"});
    Bytes reply(24, '\0');
    EXPECT_EQ(recv(fd, reply.data(), reply.size(), 0), 24);
    EXPECT_EQ(text(reply), text(words({9, 1, 0, 0, 0, 0})));

    // Found together with the host's call, during which it is served, it is not waited for again.
    EXPECT_EQ(caller->call(4, message("hold")), 0);
    caller->call_of(4, message("modal"));
    call();
    host->answer([](const HostCall &) { return HostReply{{}, words({4})}; });
    client->poke();
    EXPECT_EQ(caller->status(), 0);
    says({"message hold 7 8", "let go 1", "message modal 7 8", "own service 5"});
    for (const char *expected : {"1002 0", "1316 7"})
        EXPECT_EQ(host_call(), expected);
    turn(6, "00000000 00000000 00000005", {"modal 5"});
    EXPECT_EQ(host_call(), "1002 0");
    close(fd);
    order("hello");
    quit();
}

TEST_F(Session, AWatcherInstalledLaterHearsOfAllDescriptors)
{
    start();
    order("watch", {"fd added", "fd added", "previous none"});
    EXPECT_EQ(caller->call(1, ""), 0);
    EXPECT_EQ(client->exit_status(), 0);

    // Installed by another that is being told, it hears of all before that hears the rest.
    start();
    order("give way", {"gives way", "fd added", "fd added", "gives way", "previous none"});
    EXPECT_EQ(caller->call(1, ""), 0);
    EXPECT_EQ(client->exit_status(), 0);
}

// The id of a process that has ended, and is kept until it is waited for.
pid_t zombie()
{
    const pid_t child = fork();
    if (child == 0)
        execl("/bin/true", "true", nullptr);
    siginfo_t what;
    waitid(P_PID, static_cast<id_t>(child), &what, WEXITED | WNOWAIT);
    return child;
}

// A process id that is no longer in use.
pid_t dead()
{
    const pid_t child = zombie();
    waitpid(child, nullptr, 0);
    return child;
}

TEST_F(Session, EndsWithTheHostsProcess)
{
    const pid_t kept = zombie();
    for (pid_t pid : {dead(), kept}) {
        start_alone({{"VQAPIX", identity(pid, "-4.tester")}, {"SHORT_WAIT", ""}});
        says({"emergency", ""});
        EXPECT_EQ(client->exit_status(), 1);
    }
    waitpid(kept, nullptr, 0);
}

TEST_F(Session, EndsWithTheHostsConnection)
{
    start({{"VQAPIX", identity(0, "-4.tester")}});
    EXPECT_EQ(caller->call(0, ""), 0); // its acknowledgement has been answered
    host.reset();
    says({"emergency", ""});
    EXPECT_EQ(client->exit_status(), 1);
    EXPECT_EQ(client->error(), "");
    host.emplace();
}

TEST_F(Session, OutlivesAHostThatItCannotCheck)
{
    // Without a process id, with one that lives, or on another machine by its address.
    RawMapper mapper(*host);
    for (const auto &[machine, pid] :
         {std::pair("localhost", 0), {"localhost", getpid()}, {"127.0.0.9", dead()}}) {
        SCOPED_TRACE(std::string(machine) + " " + std::to_string(pid));
        Environment environment = on_machine(machine, mapper);
        environment.insert({{"VQAPIX", identity(pid, "-4.tester")}, {"SHORT_WAIT", "4"}});
        start(environment, &mapper);
        says({"waited"});
        EXPECT_EQ(caller->call(0, ""), 0);
        quit();
    }
}

// A running session, which answers a ping and what else it is asked, over UDP.
struct Door : RawServer {
    explicit Door(const HostReply &reply,
                  std::pair<int, in_port_t> socket = velt::test::socket_on_loopback(SOCK_DGRAM))
        : RawServer({socket.first}, [reply](const HostCall &call) {
              return call.procedure == NULLPROC ? HostReply{} : reply;
          })
    {
        EXPECT_TRUE(velt::mapper_set(session_program, 1, IPPROTO_UDP, socket.second));
    }
    ~Door() { velt::mapper_unset(session_program, 1); }
};

HostReply accepted(UIntT program)
{
    const auto pid = static_cast<UIntT>(getpid());
    return {{},
            words({0, 0, client_program, client_version, program, host_version, pid}) +
                hex(counted("localhost"))};
}

TEST_F(Session, ConnectsToARunningOne)
{
    const auto visitor = [](const char *machine) {
        return Environment{{"VQTEST_SESSION", std::to_string(session_program)},
                           {"SESSION_HOST", machine}};
    };
    const auto connect = [&](const char *machine) {
        ClientProcess refused(visitor(machine));
        std::string result = refused.line();
        EXPECT_GT(refused.exit_status(), 100);
        return result;
    };
    EXPECT_EQ(connect(""), "connect -20 -20 600");
    EXPECT_EQ(connect("nowhere.invalid"), "connect -20 -20 600");
    for (const auto &[reply, result] : {std::pair(HostReply{{}, {}, 5}, "connect -7 -7 600"),
                                        {accepted(0x20000999), "connect -22 -22 600"}}) {
        Door door(reply);
        EXPECT_EQ(connect(""), result);
    }
    Door door(accepted(host_program));
    client.emplace(visitor("localhost"));
    says({"fd added", "connect 0 0 600"});
    EXPECT_EQ(host_call().substr(0, 4), "1000");
    // The name, the address in dotted decimal, the process id.
    door.next(); // the ping
    const Bytes request = door.next()->arguments;
    EXPECT_EQ(text(request.substr(0, request.size() - 4)),
              counted("visitor") + " " + counted("127.0.0.1"));
}

} // namespace
