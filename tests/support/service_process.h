// A service in a process of its own, and peers of plain sockets for services and callers.
#pragma once

#include <rpc/rpc.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "velt/wire.h"

namespace velt::test
{

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr rpcprog_t program = 0x20000077;

// What the service answers besides the null procedure.
enum Procedure : rpcproc_t {
    echo = 1,       // a string
    count = 2,      // the number of integers in a list; of our library
    nest = 3,       // serves others until one of them calls unnest, then replies
    reports = 4,    // how many peers were turned away with a report
    descriptor = 5, // the number of the connection's descriptor
    pause = 6,      // stops itself; when it goes on an hour has passed by its clock, and it replies
    depth = 7,      // how many calls of nest there are
    unnest = 8,     // ends the newest
    fork_off = 9,   // forks twice; the last child replies and serves from then on
    close_sets = 10, // closes descriptors for epoll
};

// What only a hang takes.
constexpr milliseconds ages(120'000);

// Whose the transport of a service is.
enum class Library { ours, stock };

class ServiceProcess
{
public:
    // `allowed` is another machine that may speak to it.
    explicit ServiceProcess(const std::function<void()> &before = nullptr, in_addr_t allowed = 0,
                            Library library = Library::ours);
    ServiceProcess(const ServiceProcess &) = delete;
    ServiceProcess &operator=(const ServiceProcess &) = delete;
    ~ServiceProcess();

    in_port_t port() const { return port_; }
    // Until it has stopped itself; from then on.
    void wait_for_stop() const;
    void go_on() const;
    // From /proc, in kilobytes.
    long status(const std::string &field) const;
    double processor_seconds() const;

private:
    pid_t id_;
    in_port_t port_ = 0;
    int alive_ = -1; // closed, the service ends
};

// A new socket of this machine, which listens if it is of the stream kind, and its port.
std::pair<int, in_port_t> socket_on_loopback(int type = SOCK_STREAM, int backlog = 64);

std::pair<int, int> connected_sockets();

// A socket that sends and receives bytes as a test says.
class Peer
{
public:
    explicit Peer(in_port_t port, in_addr_t to = htonl(INADDR_LOOPBACK),
                  in_addr_t from = INADDR_ANY);
    explicit Peer(int descriptor) : descriptor_(descriptor) {}
    Peer(Peer &&other) noexcept : descriptor_(other.descriptor_) { other.descriptor_ = -1; }
    Peer(const Peer &) = delete;
    ~Peer();

    int descriptor() const { return descriptor_; }
    bool send(const std::string &bytes);
    // Up to `size` bytes; fewer at the end of the connection or when the time is over.
    std::string receive(std::size_t size, milliseconds limit = ages);
    // A whole record; none at the end of the connection.
    std::string receive_record();
    bool closed(milliseconds limit = ages);
    // Whether a null call is answered.
    bool ping();

private:
    int descriptor_;
};

// Does what it is told with each connection to it, one after the other, or with its socket if that
// is for datagrams. The connections stay until it ends, which ends them.
class Server
{
public:
    using Act = std::function<void(Peer &)>;

    explicit Server(Act act, std::pair<int, in_port_t> socket = socket_on_loopback());
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;
    ~Server();

    in_port_t port() const { return port_; }

private:
    void serve();

    Act act_;
    int socket_;
    in_port_t port_;
    std::atomic<int> current_ = -1;
    std::atomic<bool> over_ = false;
    std::thread thread_;
};

// Words in the order of the wire, and the one there.
std::string words(std::initializer_list<UIntT> values);
UIntT word_at(const std::string &bytes, std::size_t offset);
// One fragment with its mark.
std::string fragment(const std::string &bytes, bool last = true);
// The head of a call, as far as its arguments; the reply to a null call.
std::string head(rpcproc_t procedure, UIntT id = 7, rpcprog_t to = program, rpcvers_t version = 1);
std::string null_reply(UIntT id = 7);

struct DestroyClient {
    void operator()(CLIENT *client) const { clnt_destroy(client); }
};
using Client = std::unique_ptr<CLIENT, DestroyClient>;

// A handle of the RPC library, and one of ours; they throw what keeps them from connecting.
Client stock_client(in_port_t port, u_int buffer = 0);
Client our_client(in_port_t port, timeval limit = {60, 0});
clnt_stat call_echo(CLIENT *client, const std::string &text, std::string *answer,
                    timeval limit = {120, 0});
// Whether a null call is answered.
bool ping(CLIENT *client);

} // namespace velt::test
