// What is waited for, and how a connection is served when its turn comes.
#pragma once

#include <sys/un.h>

#include "apilib/unix/transport/record.h"
#include "apilib/unix/transport/transport.h"

namespace velt
{

// How long what lacks a descriptor or memory rests.
constexpr Time breather = 100'000'000;

// Whatever has a descriptor to be waited for.
struct Waiter {
    enum Kind { listener, serving, calling, resting, foreign };

    Kind kind;
    int descriptor;
    bool ready = false;     // since the last wait
    int slot = -1;          // in that wait
    Time deadline = never;  // until which it must have got on
    bool late_turn = false; // when that was over, it had one, and a second more
    Waiter *next = nullptr;

    Waiter(Kind of, int fd) : kind(of), descriptor(fd) {}
};

extern Waiter *waiters; // the newest first
void link(Waiter &waiter);
void unlink(Waiter &waiter);

// A connection as far as its bytes go.
struct Connection : Waiter {
    RecordReader in;
    Outgoing out;
    Block chunk;

    using Waiter::Waiter;
    // Gives what is under way its time, from when it has begun.
    void pace();
};

// Why a connection is turned away.
enum class Refusal { unknown, elsewhere, stranger, too_many, no_memory, count };

// A service that is listening.
struct Listener : Waiter {
    static constexpr std::size_t most_machines = 16;

    SVCXPRT handle{};
    Service service;
    std::uint32_t program = 0;
    std::uint32_t version = 0;
    in_addr_t machines[most_machines];
    std::size_t machine_count = 0;
    Time rests_until = 0;
    Time silent_until[static_cast<int>(Refusal::count)] = {};

    Listener(int fd, const Service &of);
    void turn_away(Refusal why, const sockaddr_in &peer);
};

void accept_on(Listener &listener);
// One on which the peer calls: answers what it has sent.
void serve_calls(Connection &connection);
// Whether its next call may be read: the one before is answered, and the answer has gone.
bool can_read(const Connection &connection);
void drop(Connection &connection);
// One on which calls are made without waiting: tells of their answers, or of its end.
void serve_replies(Connection &connection);
void give_up_replies(Connection &connection);
// One on which calls are made that wait, between these: its peer has ended it.
void end_rest(Connection &connection);

// A handle on a new connection, from a port that only root can have where that is asked for and to
// be had. Null with rpc_createerr set.
enum class Port { any, reserved };
CLIENT *connect_to(const sockaddr_in &address, rpcprog_t program, rpcvers_t version, Time deadline,
                   Port from = Port::any);
CLIENT *connect_to(const sockaddr_un &address, rpcprog_t program, rpcvers_t version, Time deadline);
// Says in rpc_createerr why there is none.
CLIENT *no_client(clnt_stat status, int system_error);
// As a time limit of a call.
timeval left_until(Time deadline);

// Who is at the other end of a connection.
enum class Speaker {
    trusted,   // a process of root or of our own user, or one of the machines that may speak
    stranger,  // a process of another user on this machine
    elsewhere, // on another machine
    gone,      // it has closed its end, and nobody knows any more whose it was
    unknown,   // the system does not tell; errno says why
};
Speaker identify(int descriptor, const sockaddr_in &peer, const in_addr_t *machines,
                 std::size_t count);
// Whether what is said on a connection to a service is for root or our own user, or for another
// machine, and not for another user of this one.
enum class Callee {
    refused,
    unproven, // the service is, but it has not accepted the connection yet
    trusted,
};
Callee identify_callee(int descriptor, const sockaddr_in &service);

// Makes an object in memory of the C library's heap; null when there is none.
template <class T, class... Arguments>
T *make(Arguments &&...arguments)
{
    void *memory = std::malloc(sizeof(T));
    return memory ? new (memory) T(std::forward<Arguments>(arguments)...) : nullptr;
}

template <class T>
void unmake(T *object)
{
    object->~T();
    std::free(object);
}

} // namespace velt
