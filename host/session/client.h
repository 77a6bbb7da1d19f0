// A client as the host knows it.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/session/connection.h"
#include "host/session/process.h"
#include "host/session/turns.h"

namespace velt::host
{

// The version of the host's programs and of those of its clients.
inline constexpr UIntT service_version = 1;

struct Client {
    int number = 0;        // as in VQAPIX
    std::string name;      // as in VQAPIX
    std::string directory; // what V_ApiClientDir answers
    UIntT program = 0;     // the RPC program of its own service
    UIntT version = service_version;

    // A client goes from each state to a later one.
    enum class State {
        started,      // the host has started it, or has admitted it to the session
        acknowledged, // it has told which process it is
        connected,    // the host can call it
        lost,         // one of its connections has ended and is not made again
        exited,
    };
    State state = State::started;

    std::unique_ptr<ClientProcess> process; // null for one that was admitted or adopted
    bool in_process = false;                // it is in the host's process, and ends when it says so
    pid_t pid = 0;                          // from its acknowledgement
    unsigned long long process_start = 0;   // of an admitted client, as start_of() returns it
    int caller = -1;                        // the descriptor on which it calls; -1 without one
    Connection connection;
    Turns turns;
    std::string rpc_error;        // why the client's dispatcher refused the latest call
    std::optional<Turn> quitting; // begun when the client was asked to quit
    // When the end of a connection was noticed while the client holds control.
    std::optional<std::chrono::steady_clock::time_point> lost_since;
    std::string_view unanswered; // the latest call, if it is to stay without an answer
    bool leaving = false;        // it has said that it ends, or was asked to
    bool being_answered = false; // it waits for the answer to a call and serves nobody

    std::map<IntT, UIntT> modeless; // the dialogs that it has open beside others, by its numbers
    int reaction = 0;               // the notifications that led to what it does, one to the next
    int held_back = 0;              // notifications that it gets when it hands control back

    IntT return_value = 0; // what a client that calls it gets
    std::optional<int> exit_status;
    std::string_view ended_in; // the procedure in which it held control at its end

    bool running() const { return state != State::exited; }
    // Returns whether it has handed control back for the last time, and serves nobody any more.
    bool is_going() const { return leaving && turns.empty(); }
    bool reached(State wanted) const { return state >= wanted; }
    bool ended_well() const { return ended_in.empty() && exit_status.value_or(0) == 0; }
    std::string ending() const
    {
        return describe_exit(exit_status) +
               (ended_in.empty() ? "" : " while it held control in " + std::string(ended_in));
    }
    std::string title() const { return "client " + std::to_string(number) + " (" + name + ")"; }
};

} // namespace velt::host
