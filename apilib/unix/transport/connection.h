// The event sources of the wait, and what is done when one is ready.
#pragma once

#include <sys/un.h>

#include "apilib/unix/transport/record.h"
#include "apilib/unix/transport/transport.h"

namespace velt
{

// The time for which a service stops accepting, or a wait sleeps, after it could get no descriptor
// or memory.
constexpr Time retry_interval = 100'000'000;

// Masks of descriptors have a bit for each of the first.
constexpr int mask_bits = 32;

struct EventSource;

enum class EventKind {
    service,            // a listening socket
    service_connection, // a connection on which the peer calls
    async_client,       // one on which calls are made without waiting for their answers
    idle_client,        // one on which calls wait for their answers, while none is under way
    watched,            // a descriptor of another part of the process
};

// The place of a source in one of the lists of sources.
struct Links {
    EventSource *next = nullptr;
    EventSource **back = nullptr; // what points here; null when it is not in the list
};

// A descriptor that the wait polls.
struct EventSource {
    EventKind kind;
    int descriptor;
    bool ready = false;         // the last wait found an event
    int slot = -1;              // index in that wait's array for poll(), -1 for none
    Time deadline = never;      // when the transfer that has begun must have ended
    bool had_late_turn = false; // it was served after its deadline, which was then extended
    bool registered = false;    // with the system's own set, in which sources rest
    Links all, awake;

    EventSource(EventKind of, int fd) : kind(of), descriptor(fd) {}
};

extern EventSource *event_sources; // the newest first
void link(EventSource &source);
void unlink(EventSource &source);

// Each wait looks at the sources that are awake. When they are many, those rest from which nothing
// is expected but that they become readable; what changes that wakes them.
extern EventSource *awake_sources;
bool are_many_awake();
// To be called before each wait: in a child after a fork, or without the set, none rests any more.
void wake_lost();
// Lets a source rest until these events of poll(); false when the system does not let it.
bool rest(EventSource &source, short until);
void wake(EventSource &source);
// The descriptor that is readable when a resting source is ready, or -1 when none rests.
int resting_descriptor();
// Wakes the resting sources that are ready, and returns their number.
int wake_ready();

// Moves a descriptor of the wait's own above those that masks can name, which are left to the
// services; -1 when that fails, or when it is none.
int move_above_masks(int descriptor);

// The two directions of a connection, as bytes.
struct Connection : EventSource {
    RecordReader in;
    SendBuffer out;
    Block chunk; // for RecordWriter

    using EventSource::EventSource;
    // Sets the deadline of a transfer that has begun, or clears it when none is under way.
    void update_deadline();
};

// Why a service refuses a connection.
enum class Rejection { unknown, other_machine, other_user, too_many, no_memory, count };

// A service and its listening socket.
struct Service : EventSource {
    static constexpr std::size_t most_machines = 16;

    SVCXPRT handle{};
    ServiceCallbacks callbacks;
    std::uint32_t program = 0;
    std::uint32_t version = 0;
    in_addr_t machines[most_machines]; // those whose processes may call
    std::size_t machine_count = 0;
    Time paused_until = 0; // accepts no connection before
    Time report_again_at[static_cast<int>(Rejection::count)] = {};

    Service(int fd, const ServiceCallbacks &of);
    void report_rejection(Rejection why, const sockaddr_in &peer);
};

void accept_on(Service &service);
// Answers the calls that the peer has sent on a service's connection.
void serve_calls(Connection &connection);
// Returns whether the next call on it may be read: the answer to the one before has been sent.
bool can_read(const Connection &connection);
void drop(Connection &connection);
// Reports an answer that has come to a call made without waiting, or the end of the connection.
void receive_replies(Connection &connection);
// Reports that answers, or room to send, did not come in time, and ends the connection.
void time_out_replies(Connection &connection);
// Notes that the peer has ended a connection on which no call is under way.
void note_end(Connection &connection);

// Makes a handle on a new connection; null with rpc_createerr set. `reserved` binds the connection
// to a port that only root may use, if this process may.
enum class Port { any, reserved };
CLIENT *connect_to(const sockaddr_in &address, rpcprog_t program, rpcvers_t version, Time deadline,
                   Port from = Port::any);
CLIENT *connect_to(const sockaddr_un &address, rpcprog_t program, rpcvers_t version, Time deadline);
// Puts the reason into rpc_createerr and returns null.
CLIENT *no_client(clnt_stat status, int system_error);
// The time until the deadline, as the time limit of a call.
timeval left_until(Time deadline);

// Whose process is at the other end of a connection.
enum class Peer {
    trusted,       // root's or our own user's, or on a machine that may call
    other_user,    // another user's on this machine
    other_machine, // on a machine that may not call
    disconnected,  // it has closed its end, so that its owner is no longer known
    unknown,       // the system does not tell; errno says why
};
Peer identify(int descriptor, const sockaddr_in &peer, const in_addr_t *machines,
              std::size_t count);
// Returns whether a connection leads to a service that may hear what we send: one of root, of our
// own user or on another machine.
enum class Callee {
    refused,  // it is another user's
    gone,     // it has ended, so that its owner is no longer known
    unknown,  // the system does not tell; errno says why
    unproven, // the listening socket may, but the service has not accepted the connection yet
    trusted,
};
Callee identify_callee(int descriptor, const sockaddr_in &service);
// Returns the system's error of a connection that is ended because of its callee.
int error_of(Callee callee);

// Makes an object with malloc(), since the library does without the C++ run-time library; null when
// memory runs out.
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
