// A client as the host knows it.
#pragma once

#include <netinet/in.h>
#include <rpc/rpc.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/client_process.h"
#include "host/context.h"

namespace velt::host
{

// Of the host's programs and of those of its clients.
inline constexpr UIntT service_version = 1;

// For the connection to a client that has acknowledged.
inline constexpr timeval connect_limit{5, 0};

// A stretch in which the client holds control: the host has called it, or it took control.
struct Turn {
    std::string_view procedure;
    unsigned number;
    std::chrono::steady_clock::time_point since;
    // In a modal wait the client serves the host although its callback has not returned.
    bool modal_wait = false;
    bool ends_modal_wait = false;
    bool late = false;
    std::size_t id = 0;
};

class Host;

struct Client {
    Caller caller;
    UIntT program = 0; // its own service
    UIntT version = service_version;
    pid_t pid = 0;                          // told by its acknowledgement
    std::unique_ptr<ClientProcess> process; // null for one that asked to be taken in

    bool acknowledged = false;
    bool connect_tried = false;
    bool running = true;
    bool leaving = false; // it has said that it ends, or was asked to
    std::optional<int> exit_status;
    IntT return_value = 0; // for the client that calls it

    unsigned long long process_start = 0; // of one that asked to be taken in, as start_of()
    std::string_view ended_in;            // the procedure in which it held control at its end
    bool exit_expected = false;           // it may end as it has ended
    std::optional<Turn> quitting;         // since it was asked to

    // On which it calls the host; -1 while there is none.
    int connection = -1;
    bool lost = false; // one of its connections, which it will not have again
    // On which the host calls it.
    CLIENT *handle = nullptr;
    Host *host = nullptr;

    std::vector<Turn> turns;
    std::size_t turns_begun = 0;
    std::size_t last_ended = 0; // the turn that was handed back last
    std::string refusal;        // of the latest call, by the client's dispatcher
    bool breach_reported = false;
    bool being_answered = false; // its call is, so that it serves nobody

    bool ended_well() const
    {
        return exit_expected || (ended_in.empty() && exit_status.value_or(0) == 0);
    }
    std::string ending() const
    {
        return describe_exit(exit_status) +
               (ended_in.empty() ? "" : " while it held control in " + std::string(ended_in));
    }
    bool holds_control() const { return !turns.empty() && !turns.back().modal_wait; }
    std::string title() const
    {
        return "client " + std::to_string(caller.number) + " (" + caller.name + ")";
    }
};

} // namespace velt::host
