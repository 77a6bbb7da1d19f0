// Passes the RPC messages between the host and the client on, for each connection that one of them
// makes here with one that is made to the other. Nothing is encoded anew: a message stays as it is,
// but for the number of the program in the head of a call, and for the process that acknowledges.
#pragma once

#include <netinet/in.h>
#include <poll.h>

#include <functional>
#include <list>
#include <string>
#include <vector>

#include "apilib/unix/transport/record.h"
#include "common/descriptor.h"
#include "velt/scalars.h"

namespace velt::vqrecord
{

enum class Caller { client, host };

// A program that is offered to one of the two, and the program of the other that stands behind it.
struct Route {
    Caller caller;
    UIntT offered;
    UIntT version;
    UIntT served;
};

class Relay
{
public:
    // What is told of messages once they are on their way, and of connections. `connection` tells
    // the connections apart.
    struct Watcher {
        virtual ~Watcher() = default;
        virtual void called(Caller caller, int connection, const Message &call) = 0;
        virtual void answered(Caller caller, int connection, const Message &reply) = 0;
        // No more answers come there.
        virtual void closed(Caller caller, int connection) = 0;
        // The first connection of a route has been made, so both have looked up what they need.
        virtual void connected(Caller caller) = 0;
        virtual void report(const std::string &what) = 0;
        // A connection is ended here, or not made: from now on the two do not do what they would
        // do alone.
        virtual void broke_off(const std::string &what) = 0;
    };

    // `client_is_ending` tells whether the client is exiting: then what has been closed with it is
    // left open for the host, which sees it closed together with the end of this process.
    Relay(Watcher &watcher, std::function<bool()> client_is_ending)
        : watcher_(watcher), client_is_ending_(std::move(client_is_ending))
    {
    }

    // Listens for the calls of a route, on this machine only or on all of its addresses, and
    // returns the port. Throws std::system_error.
    in_port_t listen(const Route &route, bool loopback);
    // Waits until something comes, here or on the other descriptor, and passes it on. Returns
    // whether something has come there.
    bool serve(int other);
    // Passes on what has come already, without waiting for more.
    void finish();

private:
    // One of the two ends of a connection.
    struct End {
        Descriptor descriptor;
        RecordReader in;
        SendBuffer out;
        bool ended = false; // nothing more comes from it
        bool shut = false;  // nothing more is sent to it
        unsigned slow = 0;  // so many more of its messages are not expected at once
    };
    struct Tunnel {
        Route route;
        int number;
        End caller, callee;
        bool proven = false; // the owner of the callee is known
        bool told = false;   // the watcher has been told that it is closed
    };
    struct Listener {
        Route route;
        Descriptor descriptor;
        in_port_t port = 0; // of what stands behind it, once that is known
    };

    // What poll() waits for at one end, and where that goes.
    struct Watched {
        Tunnel *tunnel;
        End *from, *to;
    };

    bool poll(int other, int limit);
    bool move_next();
    void watch(Tunnel &tunnel, End &from, End &to);
    void accept(Listener &from);
    void refuse(Tunnel &tunnel, const std::string &why);
    void break_off(const std::string &why);
    static void end(Tunnel &tunnel);
    static void lose(Tunnel &tunnel, End &end);
    void move(Tunnel &tunnel, End &from, End &to);
    void send(Tunnel &tunnel, End &to, const Message &message);
    void close_ended();
    void close_ends(Tunnel &tunnel);
    bool is_held(const Tunnel &tunnel, const End &end) const;

    Watcher &watcher_;
    std::function<bool()> client_is_ending_;
    std::list<Listener> listeners_;
    std::list<Tunnel> tunnels_;
    int made_ = 0;
    bool broken_ = false;   // something was broken off, and so is all the rest
    bool full_ = false;     // a connection could not be taken just now
    Watched next_{};        // from where the next message is expected
    unsigned in_a_row_ = 0; // messages that have come without a poll()
    // Of the last poll(); they keep their memory for the next.
    std::vector<pollfd> descriptors_;
    std::vector<Watched> watched_;
};

} // namespace velt::vqrecord
