// What a peer does to a service and to a caller, and what they may not suffer from it.

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <ctime>
#include <stdexcept>

#include "apilib/unix/transport/record.h"
#include "apilib/unix/transport/transport.h"
#include "apilib/wire/routines.h"
#include "support/service_process.h"
#include "velt/api.h"

namespace velt::test
{
namespace
{

using namespace std::chrono_literals;

IntT call_for_int(CLIENT *client, Procedure procedure)
{
    IntT answer = -1;
    const clnt_stat status = clnt_call(client, procedure, routine<void>(), nullptr,
                                       procedure == unnest ? routine<void>() : routine<IntT>(),
                                       &answer, (timeval{120, 0}));
    if (status != RPC_SUCCESS)
        throw std::runtime_error(clnt_sperrno(status));
    return answer;
}

// However slow the machine is.
void with_patience()
{
    V_ApiSetLimit(V_limit_record_seconds, 3600);
}

// Peers that stop half way, drip, lie about lengths, flood with what is no record or do not read.
TEST(Service, AHostilePeerHoldsUpNobodyAndGrowsNothing)
{
    ServiceProcess service(with_patience);
    const Client other = stock_client(service.port());
    ASSERT_TRUE(ping(other.get()));
    const long before = service.status("VmPeak");
    Peer stops(service.port()), drips(service.port()), lies(service.port());
    ASSERT_TRUE(stops.send("\x80"));
    for (const char byte : fragment(head(NULLPROC))) {
        ASSERT_TRUE(drips.send(std::string(1, byte)));
        EXPECT_TRUE(ping(other.get()));
    }
    EXPECT_EQ(drips.receive(28), null_reply());
    for (rpcproc_t procedure : {echo, count})
        for (UIntT length : {0x10000000u, 0x3FFFFFFFu, 0x40000000u, 0xFFFFFFFFu}) {
            ASSERT_TRUE(lies.send(fragment(head(procedure) + words({length, 0}))));
            EXPECT_EQ(lies.receive(28), fragment(words({7, 1, 0, 0, 0, 4})));
        }
    std::string calls;
    while (calls.size() < 200'000)
        calls += fragment(head(NULLPROC));
    const std::string large = fragment(head(echo) + words({100000}) + std::string(100000, 'a'));
    std::vector<Peer> floods;
    for (const std::string &flood : {std::string(8192, '\0'), calls, large}) {
        Peer &peer = floods.emplace_back(service.port());
        fcntl(peer.descriptor(), F_SETFL, O_NONBLOCK);
        for (int i = 0; i < 500; i++) {
            peer.send(flood);
            EXPECT_TRUE(i % 5 || ping(other.get()));
        }
    }
    EXPECT_LT(service.status("VmPeak") - before, 65536);
}

TEST(Service, EndsConnectionsThatCannotGoOn)
{
    ServiceProcess service(with_patience);
    Peer too_long(service.port()), in_all(service.port()), no_call(service.port());
    ASSERT_TRUE(too_long.send(words({0x84000001})));
    ASSERT_TRUE(in_all.send(fragment("more", false) + words({0x84000000})));
    ASSERT_TRUE(no_call.send(fragment("GET / HTTP/1.0\r\n\r\n")));
    EXPECT_TRUE(too_long.closed());
    EXPECT_TRUE(in_all.closed());
    EXPECT_TRUE(no_call.closed());

    ServiceProcess strict([] { V_ApiSetLimit(V_limit_record_seconds, 1); });
    Peer slow(strict.port());
    const auto began = Clock::now();
    ASSERT_TRUE(slow.send(fragment("ab", false)));
    EXPECT_TRUE(slow.closed());
    EXPECT_GE(Clock::now() - began, 900ms);
}

// What came while the service was busy with something else is served, however late.
TEST(Service, ItsOwnPauseMakesNoPeerLate)
{
    ServiceProcess service([] { V_ApiSetLimit(V_limit_record_seconds, 1800); });
    Peer peer(service.port()), other(service.port());
    const std::string call = fragment(head(echo) + words({10'000}) + std::string(10'000, 'a'));
    ASSERT_TRUE(peer.send(call.substr(0, 20)));
    // What has come before a call that is answered has been read with it or before.
    EXPECT_TRUE(other.ping() && other.ping());
    // It waits for its own turn, too.
    ASSERT_TRUE(other.send(fragment(head(pause)) + call.substr(0, 20)));
    service.wait_for_stop();
    ASSERT_TRUE(peer.send(call.substr(20)));
    service.go_on();
    EXPECT_EQ(other.receive(28), null_reply());
    EXPECT_TRUE(other.send(call.substr(20)));
    for (Peer *each : {&peer, &other})
        EXPECT_TRUE(each->receive(28).ends_with(null_reply().substr(4)));
}

// Many small records that come behind a long one cost no more than their bytes.
TEST(RecordSweep, WhatComesBehindARecordIsNotMovedAgainAndAgain)
{
    const auto processor_time_behind = [](std::size_t bytes) {
        constexpr std::size_t count = 500'000;
        const auto [one_end, other_end] = connected_sockets();
        Peer from(one_end), to(other_end);
        std::string small;
        while (small.size() < 8 * count)
            small += fragment("abcd");
        std::thread sends([&] { from.send(fragment(std::string(bytes, 'a')) + small); });
        RecordReader reader;
        const std::clock_t began = std::clock();
        for (std::size_t taken = 0; taken <= count;) {
            if (reader.read(to.descriptor(), 0) > RecordReader::whole)
                throw std::runtime_error("cannot read");
            for (; reader.has_record(); taken++)
                reader.give_back(reader.take());
        }
        sends.join();
        return std::clock() - began;
    };
    EXPECT_LT(processor_time_behind(8'000'000), 30 * processor_time_behind(4));
}

// Idle connections cost neither the descriptors of others nor the processor.
TEST(Service, IdlePeersAreNoneTheLess)
{
    ServiceProcess service([] {
        const rlimit few{64, 64};
        setrlimit(RLIMIT_NOFILE, &few);
        V_ApiSetLimit(V_limit_idle_connections, 1000);
        V_ApiSetLimit(V_limit_connections, 1000);
    });
    const Client known = stock_client(service.port());
    ASSERT_EQ(call_echo(known.get(), "a", nullptr), RPC_SUCCESS);
    std::vector<Peer> idle;
    for (int i = 0; i < 90; i++)
        idle.emplace_back(service.port());
    const Client late = stock_client(service.port());
    EXPECT_TRUE(ping(late.get()));
    EXPECT_TRUE(ping(known.get()));
    const double before = service.processor_seconds();
    std::this_thread::sleep_for(500ms);
    EXPECT_LE(service.processor_seconds() - before, 0.1);
}

TEST(Service, KeepsSoManyIdleConnections)
{
    for (const char *begun : {"", "\x80"}) {
        ServiceProcess service([] { V_ApiSetLimit(V_limit_idle_connections, 4); });
        const Client known = stock_client(service.port());
        ASSERT_EQ(call_echo(known.get(), "a", nullptr), RPC_SUCCESS);
        std::vector<Peer> idle;
        for (int i = 0; i < 6; i++) {
            ASSERT_TRUE(idle.emplace_back(service.port()).send(begun));
            // By the second call it has been read.
            EXPECT_TRUE(ping(known.get()) && ping(known.get()));
        }
        EXPECT_TRUE(idle[0].closed() && idle[1].closed());
        EXPECT_FALSE(idle[2].closed(100ms));
    }
}

// Most of many connections rest, until something comes: a call, a part of one, or the end.
TEST(Service, ServesManyInAnyOrder)
{
    ServiceProcess service([] {
        with_patience();
        V_ApiSetLimit(V_limit_idle_connections, 100);
    });
    std::vector<Peer> peers;
    for (int i = 0; i < 60; i++)
        EXPECT_TRUE(peers.emplace_back(service.port()).ping());
    const auto all_are_served = [&peers] {
        for (std::size_t i = 0; i < peers.size(); i++)
            EXPECT_TRUE(peers[i * 7 % peers.size()].ping()) << i;
    };
    all_are_served();
    const std::string call = fragment(head(NULLPROC));
    for (Peer &peer : peers)
        ASSERT_TRUE(peer.send(call.substr(0, 9)));
    for (Peer &peer : peers) {
        ASSERT_TRUE(peer.send(call.substr(9) + call));
        EXPECT_EQ(peer.receive(56), null_reply() + null_reply());
    }
    // While the call of one is being answered, and when some of them have gone.
    ASSERT_TRUE(peers.back().send(fragment(head(nest))));
    const Client other = stock_client(service.port());
    while (call_for_int(other.get(), depth) == 0)
        std::this_thread::yield();
    peers.pop_back();
    all_are_served();
    call_for_int(other.get(), unnest);
    EXPECT_EQ(call_for_int(other.get(), depth), 0);
    while (peers.size() > 29)
        peers.pop_back();
    all_are_served();
    // A child of the service goes on with them, also without what it did not open itself.
    for (const auto next : {fork_off, close_sets}) {
        ASSERT_TRUE(peers[0].send(fragment(head(next))));
        EXPECT_EQ(peers[0].receive(28), null_reply());
        all_are_served();
    }
    EXPECT_TRUE(Peer(service.port()).ping());
}

TEST(Service, DescriptorsMayBeHigh)
{
    ServiceProcess service([] {
        const rlimit many{4096, 4096};
        setrlimit(RLIMIT_NOFILE, &many);
        while (dup(STDERR_FILENO) < 1100)
            ;
    });
    // The first gets the number of what the service has closed since.
    const Client first = stock_client(service.port()), second = stock_client(service.port());
    EXPECT_TRUE(ping(first.get()));
    EXPECT_GE(call_for_int(second.get(), descriptor), 1000);
}

// The connection is released when nothing runs on it any more; sanitizers and valgrind see whether.
TEST(Service, APeerMayCloseWhileItsCallServesOthers)
{
    ServiceProcess service;
    const Client other = stock_client(service.port());
    for (int round = 0; round < 2; round++) {
        auto peer = std::make_unique<Peer>(service.port());
        ASSERT_TRUE(peer->send(fragment(head(nest)) + fragment(head(nest, 8))));
        while (call_for_int(other.get(), depth) == 0)
            std::this_thread::yield();
        peer.reset();
        EXPECT_TRUE(ping(other.get()));
        while (call_for_int(other.get(), depth) > 0)
            call_for_int(other.get(), unnest);
    }
    EXPECT_TRUE(ping(other.get()));
}

TEST(Service, AClosedConnectionIsNoSignal)
{
    ServiceProcess service([] { std::signal(SIGPIPE, SIG_DFL); });
    std::string calls;
    for (int i = 0; i < 20; i++)
        calls += fragment(head(NULLPROC));
    {
        Peer peer(service.port());
        EXPECT_TRUE(peer.ping());
        ASSERT_TRUE(peer.send(calls));
    }
    const Client other = stock_client(service.port());
    EXPECT_TRUE(ping(other.get()));
}

template <class F>
void takes_a_second(F act)
{
    const auto began = Clock::now();
    act();
    const auto took = Clock::now() - began;
    EXPECT_GE(took, 900ms);
    EXPECT_LE(took, ages);
}

volatile std::sig_atomic_t alarms;

// Nor does a signal make it longer or shorter.
TEST(Caller, ATimeLimitIsOneWhateverThePeerDoes)
{
    struct sigaction action {
    };
    action.sa_handler = [](int) { alarms = alarms + 1; };
    sigaction(SIGALRM, &action, nullptr);
    const itimerval timer{{0, 100'000}, {0, 100'000}}, off{};
    Server deaf([](Peer &) {});
    Server drips([](Peer &peer) {
        for (std::size_t i = 0; peer.send(fragment("", false).substr(i % 4, 1)); i++)
            std::this_thread::sleep_for(20ms);
    });
    Server floods([](Peer &peer) {
        std::string stale;
        while (stale.size() < 100'000)
            stale += null_reply(1);
        while (peer.send(stale))
            ;
    });
    // Takes its time to read, and does not answer.
    Server slow([](Peer &peer) {
        std::this_thread::sleep_for(100ms);
        peer.receive(20'000'000);
    });
    const std::string large(20'000'000, 'a');
    for (const Server *peer : {&deaf, &drips, &floods, &slow}) {
        setitimer(ITIMER_REAL, peer == &deaf ? &timer : &off, nullptr);
        const Client client = our_client(peer->port());
        const std::string text = peer == &slow ? large : "a";
        takes_a_second([&] {
            EXPECT_EQ(call_echo(client.get(), text, nullptr, {1, 0}), RPC_TIMEDOUT);
        });
    }
    EXPECT_GE(std::exchange(alarms, 0), 1);
    const Client client = our_client(deaf.port());
    timeval second{1, 0};
    ASSERT_TRUE(clnt_control(client.get(), CLSET_TIMEOUT, reinterpret_cast<char *>(&second)));
    takes_a_second([&] { EXPECT_EQ(call_echo(client.get(), large, nullptr), RPC_TIMEDOUT); });
    EXPECT_EQ(call_echo(client.get(), "a", nullptr), RPC_CANTSEND);

    // To a port on which nobody accepts, so that the kernel soon answers no more.
    setitimer(ITIMER_REAL, &timer, nullptr);
    const auto [listener, port] = socket_on_loopback(SOCK_STREAM, 0);
    const Peer full(listener), first(port);
    std::vector<Client> more;
    takes_a_second([&, at = port] {
        EXPECT_THROW(for (;;) more.push_back(our_client(at, {1, 0})), std::runtime_error);
        EXPECT_EQ(rpc_createerr.cf_stat, RPC_TIMEDOUT);
    });
    EXPECT_GE(alarms, 1);
    setitimer(ITIMER_REAL, &off, nullptr);
}

// What is refused is refused before any of it is sent, and the connection is as good as before.
TEST(Caller, ATooLongArgumentOrAnswerIsRefused)
{
    ServiceProcess service([] { V_ApiSetLimit(V_limit_record_out, 500'000); });
    const Client client = our_client(service.port());
    const UIntT before = V_ApiGetLimit(V_limit_record_out);
    V_ApiSetLimit(V_limit_record_out, 1'000'000);
    EXPECT_EQ(call_echo(client.get(), std::string(1'000'000, 'a'), nullptr), RPC_CANTENCODEARGS);
    EXPECT_EQ(call_echo(client.get(), std::string(600'000, 'a'), nullptr), RPC_SYSTEMERROR);
    EXPECT_EQ(call_echo(client.get(), std::string(400'000, 'a'), nullptr), RPC_SUCCESS);
    V_ApiSetLimit(V_limit_record_out, before);
    EXPECT_EQ(V_ApiSetLimit(V_limit_none, 1), -1);
    EXPECT_EQ(V_ApiGetLimit(V_limit_none), 0U);
}

// What an answer to an echo of so many bytes begins with, after the call has come.
std::string answer_begun(Peer &peer, UIntT length = 4)
{
    return peer.receive(44 + 8).substr(4, 4) + words({1, 0, 0, 0, 0, length});
}

// Of such an answer, in fragments or not, all bytes are skipped.
TEST(Caller, AnAnswerAboveTheLimitFailsItsOwnCall)
{
    const UIntT before = V_ApiGetLimit(V_limit_record_in);
    V_ApiSetLimit(V_limit_record_in, 100'000);
    Server huge([](Peer &peer) {
        const std::string bytes(90'000, 'x');
        peer.send(fragment(answer_begun(peer, 3'000'000) + std::string(3'000'000, 'x')));
        peer.send(fragment(answer_begun(peer, 270'000), false) + fragment(bytes, false) +
                  fragment(bytes, false) + fragment("", false) + fragment(bytes));
        peer.send(fragment(answer_begun(peer) + "last"));
    });
    const Client client = our_client(huge.port());
    std::string answer;
    EXPECT_EQ(call_echo(client.get(), "abc", &answer), RPC_CANTDECODERES);
    EXPECT_EQ(call_echo(client.get(), "abc", &answer), RPC_CANTDECODERES);
    EXPECT_EQ(call_echo(client.get(), "abc", &answer), RPC_SUCCESS);
    EXPECT_EQ(answer, "last");
    V_ApiSetLimit(V_limit_record_in, before);
}

TEST(Caller, ALateAnswerIsNotTheNextCalls)
{
    Server late([](Peer &peer) {
        const std::string first = answer_begun(peer), second = answer_begun(peer);
        peer.send(fragment(first + "old!") + fragment(second + "new!"));
    });
    const Client client = our_client(late.port());
    std::string answer;
    EXPECT_EQ(call_echo(client.get(), "abc", &answer, {0, 100'000}), RPC_TIMEDOUT);
    EXPECT_EQ(call_echo(client.get(), "abc", &answer), RPC_SUCCESS);
    EXPECT_EQ(answer, "new!");
}

TEST(Caller, AClosedConnectionIsAnErrorAndNoSignal)
{
    std::signal(SIGPIPE, SIG_DFL);
    Server closes([](Peer &peer) { shutdown(peer.descriptor(), SHUT_RDWR); });
    const Client client = our_client(closes.port());
    for (int i = 0; i < 3; i++)
        EXPECT_NE(call_echo(client.get(), std::string(100'000, 'a'), nullptr), RPC_SUCCESS);
}

// What the call of an integer makes, between two signals that mark it.
[[noreturn]] void make_call(in_port_t port)
{
    const Client client = our_client(port);
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    // The first allocates what later ones use again.
    for (int i = 0; i < 2; i++) {
        if (call_echo(client.get(), "a", nullptr, {3600, 0}) != RPC_SUCCESS)
            _exit(1);
        kill(getpid(), SIGSTOP);
    }
    _exit(0);
}

// "write read" and the like for every call between the first and the second stop.
std::string calls_of(pid_t process)
{
    std::string calls;
    int status = 0;
    waitpid(process, &status, 0);
    ptrace(PTRACE_SETOPTIONS, process, nullptr, PTRACE_O_TRACESYSGOOD);
    for (;;) {
        ptrace(PTRACE_SYSCALL, process, nullptr, nullptr);
        waitpid(process, &status, 0);
        if (!WIFSTOPPED(status) || WSTOPSIG(status) == SIGSTOP)
            return calls;
        if (WSTOPSIG(status) != (SIGTRAP | 0x80))
            continue;
        __ptrace_syscall_info info{};
        ptrace(PTRACE_GET_SYSCALL_INFO, process, sizeof info, &info);
        // The clock of these tests asks the system, others do not.
        const std::map<std::uint64_t, std::string> names = {
            {SYS_kill, ""},         {SYS_getpid, ""},        {SYS_clock_gettime, ""},
            {SYS_sendto, "write "}, {SYS_sendmsg, "write "}, {SYS_recvfrom, "read "},
            {SYS_poll, "poll "}};
        if (info.op == PTRACE_SYSCALL_INFO_ENTRY)
            calls += names.contains(info.entry.nr) ? names.at(info.entry.nr)
                                                   : std::to_string(info.entry.nr) + " ";
    }
}

TEST(SystemCallsSweep, OneCallMakesNoMoreThanItNeeds)
{
    const ServiceProcess service;
    const pid_t caller = fork();
    if (caller == 0)
        make_call(service.port());
    const std::string calls = calls_of(caller);
    kill(caller, SIGKILL);
    waitpid(caller, nullptr, 0);
    EXPECT_TRUE(calls == "write read " || calls == "write poll read ") << calls;
}

TEST(Interoperation, CallsOfEverySize)
{
    ServiceProcess ours;
    const Client theirs = stock_client(ours.port());
    ServiceProcess stock_service(nullptr, 0, Library::stock);
    const Client our = our_client(stock_service.port());
    for (CLIENT *client : {theirs.get(), our.get()})
        for (std::size_t size :
             {0u, 1u, 4u, 1000u, 16'380u, 32'720u, 32'768u, 100'000u, 8u << 20}) {
            std::string text(size, 'a'), answer;
            for (std::size_t i = 0; i < size; i += 97)
                text[i] = static_cast<char>('b' + i % 23);
            ASSERT_EQ(call_echo(client, text, &answer), RPC_SUCCESS) << size;
            ASSERT_TRUE(answer == text) << size;
        }
}

TEST(Datagram, OnlyTheAnswerToTheCallCounts)
{
    const auto [service, port] = socket_on_loopback(SOCK_DGRAM);
    const auto ask = [at = on_loopback(port)](IntT *result) {
        return transport_ask(at, 1, 1, 1, routine<void>(), nullptr, routine<IntT>(), result,
                             {600, 0});
    };
    const std::string success = words({REPLY, MSG_ACCEPTED, AUTH_NONE, 0, SUCCESS});
    for (const auto &[rest, done] :
         {std::pair(success + words({42}), true),
          {success, false},
          {words({REPLY, MSG_ACCEPTED, AUTH_NONE, 0, PROC_UNAVAIL}), false},
          {words({REPLY, MSG_DENIED, AUTH_ERROR, AUTH_TOOWEAK}), false},
          {words({REPLY}), false}}) {
        IntT answer = 0;
        bool told = !done;
        std::thread asking([&] { told = ask(&answer); });
        char call[40];
        sockaddr_in from{};
        socklen_t size = sizeof from;
        EXPECT_EQ(
            recvfrom(service, call, sizeof call, 0, reinterpret_cast<sockaddr *>(&from), &size),
            ssize_t{sizeof call});
        const std::string id(call, 4), other = static_cast<char>(id[0] ^ 1) + id.substr(1);
        for (const std::string &datagram :
             {std::string(), other + "x" + success, other + success + words({41}), id + rest})
            sendto(service, datagram.data(), datagram.size(), 0,
                   reinterpret_cast<sockaddr *>(&from), size);
        asking.join();
        EXPECT_EQ(told, done);
        EXPECT_EQ(answer, done ? 42 : 0);
    }
    close(service);
    IntT answer = 0;
    EXPECT_FALSE(ask(&answer)) << "nobody listens";
}

} // namespace
} // namespace velt::test
