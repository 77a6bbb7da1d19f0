// The settings of a host.
#pragma once

#include <chrono>
#include <exception>
#include <functional>
#include <memory>

#include "common/interrupts.h"
#include "host/portmap/portmap.h"
#include "host/trace/sink.h"

namespace velt::host
{

// A value for the limits below that is longer than any session.
inline constexpr std::chrono::milliseconds no_limit = std::chrono::hours(24 * 365 * 100);

struct Options {
    std::chrono::milliseconds start_limit = std::chrono::seconds(10); // until a client acknowledges
    std::chrono::milliseconds turn_limit = std::chrono::seconds(30);  // until it hands control back
    std::chrono::milliseconds exit_limit = std::chrono::seconds(5);   // until it exits after quit
    // A person who has waited for so long is told for what.
    std::chrono::milliseconds patience = std::chrono::seconds(5);
    TraceSink trace; // nothing is decoded for an empty one
    // Called when the host itself has failed in a call, so that its client has no proper answer. It
    // throws nothing, and may be empty.
    std::function<void(const std::exception_ptr &)> host_failed;
    // Returns how often the host has been told to end; the host asks at every wait. The first time
    // ends what the host does with an error; another time during end() leaves clients no time to
    // end themselves.
    std::function<int()> interrupts;
    // Each client is stopped before it begins, for a debugger.
    bool stop_at_start = false;
    // Clients may have the host run programs.
    bool allow_programs = false;
    // The clients are in this process: there is no port mapper, no socket, and no process to watch,
    // and since nothing comes of waiting, all times pass at once.
    bool in_process = false;
    // The port mapper to use; null creates one for this session.
    std::shared_ptr<PortMapper> port_mapper;
};

} // namespace velt::host
