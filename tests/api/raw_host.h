// Servers made of plain sockets: they take calls apart by hand, record their argument bytes, and
// answer with the bytes that a test gives them, sound or not.
#pragma once

#include "api/samples.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

constexpr rpcprog_t host_program = 0x20000100;
constexpr rpcvers_t host_version = 2;

struct HostCall {
    UIntT procedure;
    Bytes arguments;
    UIntT program;
    UIntT version;
};

struct HostReply {
    enum Kind { answer, silence, hang_up } kind = answer;
    Bytes body;
    UIntT accept_status = 0; // 0 success, 1 unknown program, 3 unknown procedure
};

class RawServer
{
public:
    using Answerer = std::function<HostReply(const HostCall &)>;

    // Serves the listening sockets, which are its own from now on.
    RawServer(std::vector<int> listeners, Answerer answerer);
    ~RawServer();

    void answer(Answerer answerer);
    // The next call not yet taken.
    std::optional<HostCall> next(std::chrono::seconds limit = std::chrono::seconds(60));
    // Whether no call is waiting to be taken.
    bool idle();

private:
    void serve();
    bool serve_one(int connection);

    std::vector<int> listeners_;
    int stop_[2];
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<HostCall> calls_;
    Answerer answerer_;
    std::thread thread_;
};

// A port mapper: the session's own at its port, and the machine's, of which clients that were built
// for tests take it for, at its path and port too.
class RawMapper
{
public:
    RawMapper();
    ~RawMapper();

    in_port_t port() const { return port_; }
    const std::string &path() const { return path_; }
    // For a client that thinks that it talks to the machine's.
    std::string as_machines() const { return path_ + ":" + std::to_string(port_); }

    void set(UIntT program, UIntT version, UIntT protocol, in_port_t port);
    void unset(UIntT program, UIntT version);
    in_port_t find(UIntT program, UIntT version, UIntT protocol);
    bool empty();
    // What it was told since the last time, a line each: version, procedure, argument.
    std::string told();

private:
    HostReply serve(const HostCall &call);

    std::mutex mutex_;
    std::map<std::array<UIntT, 3>, in_port_t> ports_; // by program, version and protocol
    std::string path_;
    in_port_t port_ = 0;
    std::optional<RawServer> server_;
};

// The one that the tests of this process and their clients use; made, and named in the environment,
// when it is needed first.
RawMapper &mapper();

// A host of plain sockets, which is registered with the port mapper.
class RawHost : public RawServer
{
public:
    RawHost();
    ~RawHost();

private:
    explicit RawHost(std::pair<int, in_port_t> listener);
};

// Big-endian words.
Bytes words(std::initializer_list<UIntT> values);
UIntT word_at(const Bytes &bytes, std::size_t offset);
