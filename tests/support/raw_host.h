// Servers made of plain sockets: they take calls apart by hand, record their argument bytes, and
// answer with the bytes that a test gives them, sound or not.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <list>
#include <mutex>

#include "support/samples.h"
#include "support/service_process.h"

using velt::test::word_at;
using velt::test::words;

constexpr rpcprog_t host_program = 0x20000100, client_program = 0x20000101;
constexpr rpcvers_t host_version = 2, client_version = 3;

// What a client is started with; the rest is its number and name.
std::string identity(pid_t host, const std::string &rest);

struct HostCall {
    UIntT procedure;
    Bytes arguments;
    UIntT program;
    UIntT version;
};

struct HostReply {
    enum Kind { answer, hang_up } kind = answer;
    Bytes body;
    UIntT accept_status = 0; // 0 success, 1 unknown program, 3 unknown procedure
};

class RawServer
{
public:
    using Answerer = std::function<HostReply(const HostCall &)>;

    // Serves the sockets, which are its own from now on: those that listen, and datagrams.
    RawServer(const std::vector<int> &sockets, Answerer answerer);

    void answer(Answerer answerer);
    // The next call not yet taken.
    std::optional<HostCall> next(std::chrono::seconds limit = std::chrono::seconds(60));
    // Whether no call is waiting to be taken.
    bool idle();

private:
    void serve(velt::test::Peer &peer);
    HostReply answered(const Bytes &call);

    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<HostCall> calls_;
    Answerer answerer_;
    std::list<velt::test::Server> servers_;
};

// A host of plain sockets, which is registered with the session's port mapper.
class RawHost : public RawServer
{
public:
    explicit RawHost(std::pair<int, in_port_t> listener = velt::test::socket_on_loopback());
    ~RawHost();

    const in_port_t port;
};

// A port mapper of plain sockets, the session's or the machine's: it says yes to whatever it is
// told, and knows of one host alone.
class RawMapper
{
public:
    explicit RawMapper(const RawHost &host);

    // For a client that takes this one for the session's or for the machine's.
    const std::string &name() const { return name_; }
    // The port that was registered last.
    in_port_t registered() const { return registered_; }
    // What it was told, a line each: version, procedure, argument.
    std::string told();

private:
    std::string name_;
    std::atomic<in_port_t> registered_ = 0;
    std::optional<RawServer> server_;
};
