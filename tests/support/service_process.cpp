#include "support/service_process.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "apilib/unix/transport/transport.h"
#include "apilib/wire/routines.h"
#include "velt/api.h"

namespace velt::test
{
namespace
{

int reported;
int nested;
time_t skipped;        // by the clock
int still_wanted = -1; // a pipe of which the test closes the other end
bool over;
Library library;

template <class T>
void reply(SVCXPRT *transport, T value)
{
    svc_sendreply(transport, routine<T>(), reinterpret_cast<char *>(&value));
}

bool_t stock_string(XDR *xdrs, StringT *text)
{
    return xdr_string(xdrs, text, ~0U);
}

template <class T, class Answer>
void answer(SVCXPRT *transport, xdrproc_t decode, Answer make)
{
    T value{};
    if (svc_getargs(transport, decode, reinterpret_cast<char *>(&value)))
        reply(transport, make(value));
    else
        svcerr_decode(transport);
    free_decoded(value);
}

void serve_once(int limit)
{
    if (library == Library::ours) {
        transport_wait(nullptr, limit);
        return transport_dispatch();
    }
    fd_set ready = svc_fdset;
    FD_SET(still_wanted, &ready);
    timeval time{limit / 1000, limit % 1000 * 1000};
    if (select(FD_SETSIZE, &ready, nullptr, nullptr, &time) <= 0)
        return;
    over |= FD_ISSET(still_wanted, &ready) != 0;
    FD_CLR(still_wanted, &ready);
    svc_getreqset(&ready);
}

void dispatch(svc_req *request, SVCXPRT *transport)
{
    switch (request->rq_proc) {
    case echo:
        return answer<StringT>(transport,
                               library == Library::stock ? reinterpret_cast<xdrproc_t>(stock_string)
                                                         : routine<StringT>(),
                               [](StringT text) { return text; });
    case count:
        return answer<V_IntsT>(transport, routine<V_IntsT>(),
                               [](const V_IntsT &list) { return list.len; });
    case reports:
        return reply(transport, IntT{reported});
    case descriptor:
        return reply(transport, IntT{transport->xp_fd});
    case depth:
        return reply(transport, IntT{nested});
    case nest:
        for (const int mine = ++nested; nested >= mine && !over;)
            serve_once(1000);
        break;
    case pause:
        raise(SIGSTOP);
        skipped += 3600;
        break;
    case fork_off:
        // Twice, as a process does that leaves its session.
        for (int i = 0; i < 2; i++) {
            if (const pid_t child = fork(); child != 0) {
                int status = -1;
                waitpid(child, &status, 0);
                _exit(WEXITSTATUS(status) | WTERMSIG(status));
            }
        }
        break;
    case close_sets:
        for (const auto &each : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code gone;
            if (std::filesystem::read_symlink(each, gone) == "anon_inode:[eventpoll]")
                close(std::stoi(each.path().filename()));
        }
        break;
    case unnest:
        nested--;
        break;
    case NULLPROC:
        break;
    default:
        return svcerr_noproc(transport);
    }
    svc_sendreply(transport, routine<void>(), nullptr);
}

[[noreturn]] void serve(int tell, int alive, in_addr_t allowed)
{
    SVCXPRT *service;
    still_wanted = alive;
    if (library == Library::stock) {
        service = svctcp_create(RPC_ANYSOCK, 0, 0);
        svc_register(service, program, 1, dispatch, 0);
    } else {
        service = transport_listen(
            {[](void *, svc_req *request, SVCXPRT *connection) { dispatch(request, connection); },
             [](void *, const char *) { reported++; }, nullptr, nullptr});
        transport_set_program(service, program, 1);
        transport_allow(service, allowed);
        transport_watch(
            alive, [](void *) { over = true; }, nullptr);
    }
    const in_port_t port = service->xp_port;
    if (write(tell, &port, sizeof port) != sizeof port)
        _exit(1);
    close(tell);
    while (!over)
        serve_once(1000);
    if (library == Library::stock)
        _exit(0);
    transport_unwatch(alive);
    svc_destroy(service);
    std::exit(0);
}

} // namespace

void ServiceProcess::wait_for_stop() const
{
    int status = 0;
    if (waitpid(id_, &status, WUNTRACED) != id_ || !WIFSTOPPED(status))
        throw std::runtime_error("the service has ended");
}

void ServiceProcess::go_on() const
{
    kill(id_, SIGCONT);
}

ServiceProcess::ServiceProcess(const std::function<void()> &before, in_addr_t allowed,
                               Library whose)
{
    int tell[2], alive[2];
    if (pipe(tell) != 0 || pipe(alive) != 0)
        throw std::runtime_error("no pipe");
    id_ = fork();
    if (id_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(tell[0]);
        close(alive[1]);
        library = whose;
        if (before)
            before();
        serve(tell[1], alive[0], allowed);
    }
    close(tell[1]);
    close(alive[0]);
    alive_ = alive[1];
    if (read(tell[0], &port_, sizeof port_) != sizeof port_)
        throw std::runtime_error("the service does not start");
    close(tell[0]);
}

ServiceProcess::~ServiceProcess()
{
    // In this order: a SIGCONT would undo the stop by which the leak checker looks at its end.
    go_on();
    close(alive_);
    int status = -1;
    waitpid(id_, &status, 0);
    EXPECT_EQ(status, 0) << "the service's";
}

long ServiceProcess::status(const std::string &field) const
{
    std::ifstream file("/proc/" + std::to_string(id_) + "/status");
    for (std::string line; std::getline(file, line);)
        if (line.starts_with(field + ":"))
            return std::stol(line.substr(field.size() + 1));
    throw std::runtime_error("no " + field);
}

double ServiceProcess::processor_seconds() const
{
    clockid_t clock;
    timespec time{};
    EXPECT_EQ(clock_getcpuclockid(id_, &clock), 0);
    EXPECT_EQ(clock_gettime(clock, &time), 0);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

std::pair<int, in_port_t> socket_on_loopback(int type, int backlog)
{
    const int made = socket(AF_INET, type | SOCK_CLOEXEC, 0);
    sockaddr_in address = on_loopback();
    socklen_t size = sizeof address;
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    EXPECT_EQ(bind(made, generic, size), 0);
    if (type == SOCK_STREAM) {
        EXPECT_EQ(listen(made, backlog), 0);
    }
    EXPECT_EQ(getsockname(made, generic, &size), 0);
    return {made, ntohs(address.sin_port)};
}

std::pair<int, int> connected_sockets()
{
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    return {ends[0], ends[1]};
}

Peer::Peer(in_port_t port, in_addr_t to, in_addr_t from)
    : descriptor_(socket(AF_INET, SOCK_STREAM, 0))
{
    sockaddr_in own = on_loopback(), peer = on_loopback(port);
    own.sin_addr.s_addr = from;
    peer.sin_addr.s_addr = to;
    if (bind(descriptor_, reinterpret_cast<const sockaddr *>(&own), sizeof own) != 0 ||
        connect(descriptor_, reinterpret_cast<const sockaddr *>(&peer), sizeof peer) != 0)
        throw std::runtime_error("no connection");
}

Peer::~Peer()
{
    if (descriptor_ >= 0)
        close(descriptor_);
}

bool Peer::send(const std::string &bytes)
{
    return ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(bytes.size());
}

std::string Peer::receive(std::size_t size, milliseconds limit)
{
    std::string bytes;
    const auto end = Clock::now() + limit;
    while (bytes.size() < size) {
        const auto left = std::chrono::duration_cast<milliseconds>(end - Clock::now()).count();
        pollfd wait{descriptor_, POLLIN, 0};
        char block[4096];
        ssize_t got = 0;
        if (left <= 0 || poll(&wait, 1, static_cast<int>(left)) <= 0 ||
            (got = recv(descriptor_, block, std::min(sizeof block, size - bytes.size()), 0)) <= 0)
            break;
        bytes.append(block, static_cast<std::size_t>(got));
    }
    return bytes;
}

std::string Peer::receive_record()
{
    constexpr UIntT last = 0x80000000;
    constexpr std::chrono::hours for_ever(24);
    std::string record;
    for (UIntT mark = 0; !(mark & last);) {
        const std::string head = receive(4, for_ever);
        if (head.size() < 4)
            return "";
        mark = word_at(head, 0);
        const std::size_t end = record.size() + (mark & ~last);
        record += receive(mark & ~last, for_ever);
        if (record.size() < end)
            return "";
    }
    return record;
}

bool Peer::closed(milliseconds limit)
{
    pollfd wait{descriptor_, POLLIN, 0};
    char byte;
    return poll(&wait, 1, static_cast<int>(limit.count())) > 0 &&
           recv(descriptor_, &byte, 1, MSG_PEEK) <= 0;
}

bool Peer::ping()
{
    return send(fragment(head(NULLPROC))) && receive(28) == null_reply();
}

Server::Server(Act act, std::pair<int, in_port_t> socket)
    : act_(std::move(act)), socket_(socket.first), port_(socket.second),
      thread_([this] { serve(); })
{
}

Server::~Server()
{
    over_ = true;
    for (const int waits : {socket_, current_.load()})
        shutdown(waits, SHUT_RDWR);
    thread_.join();
}

void Server::serve()
{
    // The caller's thread is the one that hears of signals.
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, nullptr);
    Peer own(socket_);
    int listens = 0;
    socklen_t size = sizeof listens;
    getsockopt(socket_, SOL_SOCKET, SO_ACCEPTCONN, &listens, &size);
    if (!listens)
        return act_(own);
    std::vector<Peer> kept;
    while (!over_) {
        current_ = accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC);
        Peer &peer = kept.emplace_back(current_);
        if (!over_)
            act_(peer);
    }
}

UIntT word_at(const std::string &bytes, std::size_t offset)
{
    UIntT value = 0;
    for (std::size_t i = 0; i < 4; i++)
        value = value << 8 | static_cast<UCharT>(bytes.at(offset + i));
    return value;
}

std::string words(std::initializer_list<UIntT> values)
{
    std::string bytes;
    for (UIntT value : values)
        for (int shift = 24; shift >= 0; shift -= 8)
            bytes.push_back(static_cast<char>(value >> shift));
    return bytes;
}

std::string fragment(const std::string &bytes, bool last)
{
    return words({static_cast<UIntT>(bytes.size()) | (last ? 0x80000000 : 0)}) + bytes;
}

std::string head(rpcproc_t procedure, UIntT id, rpcprog_t to, rpcvers_t version)
{
    return words({id, 0, 2, static_cast<UIntT>(to), static_cast<UIntT>(version),
                  static_cast<UIntT>(procedure), 0, 0, 0, 0});
}

std::string null_reply(UIntT id)
{
    return fragment(words({id, 1, 0, 0, 0, 0}));
}

static Client connected(CLIENT *client)
{
    if (!client)
        throw std::runtime_error(clnt_spcreateerror("no connection"));
    return Client(client);
}

Client stock_client(in_port_t port, u_int buffer)
{
    sockaddr_in address = on_loopback(port);
    int socket = RPC_ANYSOCK;
    return connected(clnttcp_create(&address, program, 1, &socket, buffer, buffer));
}

Client our_client(in_port_t port, timeval limit)
{
    return connected(transport_connect(on_loopback(port), program, 1, limit));
}

clnt_stat call_echo(CLIENT *client, const std::string &text, std::string *answer, timeval limit)
{
    auto *argument = const_cast<StringT>(text.c_str());
    StringT result = nullptr;
    const clnt_stat status =
        clnt_call(client, echo, routine<StringT>(), reinterpret_cast<char *>(&argument),
                  routine<StringT>(), reinterpret_cast<char *>(&result), limit);
    if (answer && result)
        *answer = result;
    V_ApiFree(result);
    return status;
}

bool ping(CLIENT *client)
{
    return clnt_call(client, NULLPROC, routine<void>(), nullptr, routine<void>(), nullptr,
                     (timeval{120, 0})) == RPC_SUCCESS;
}

} // namespace velt::test

// The transport's clock: a service can have slept for an hour without anybody waiting for it.
extern "C" int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    time->tv_sec += velt::test::skipped;
    return result;
}
