// A host made of plain sockets: it takes the calls of clients apart by hand, records their argument
// bytes, and answers with the bytes that a test gives it, sound or not.
#pragma once

#include "api/samples.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

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

class RawHost
{
public:
    // Listens and registers with the port mapper.
    RawHost();
    ~RawHost();

    using Answerer = std::function<HostReply(const HostCall &)>;
    void answer(Answerer answerer);
    // The next call not yet taken.
    std::optional<HostCall> next(std::chrono::seconds limit = std::chrono::seconds(20));
    // Whether no call is waiting to be taken.
    bool idle();

private:
    void serve();
    bool serve_one(int connection);

    int listener_;
    int stop_[2];
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<HostCall> calls_;
    Answerer answerer_;
    std::thread thread_;
};

// Big-endian words.
Bytes words(std::initializer_list<UIntT> values);
UIntT word_at(const Bytes &bytes, std::size_t offset);
