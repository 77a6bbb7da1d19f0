// What may be set for a host.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "common/interrupts.h"
#include "host/portmap/portmap.h"
#include "host/trace/sink.h"

namespace velt::host
{

// For the limits below: longer than any session lasts.
inline constexpr std::chrono::milliseconds no_limit = std::chrono::hours(24 * 365 * 100);

struct Options {
    std::chrono::milliseconds start_limit = std::chrono::seconds(10); // to the acknowledgement
    std::chrono::milliseconds turn_limit = std::chrono::seconds(30);  // to the hand-over
    std::chrono::milliseconds exit_limit = std::chrono::seconds(5);   // from quit to the exit
    TraceSink trace; // nothing is decoded for an empty one
    // How often the host has been told to end, asked at every wait: once ends what it does with an
    // error, and once more while it ends leaves clients no time to do so.
    std::function<int()> interrupts;
    // Each client is stopped before it begins, for a debugger.
    bool stop_at_start = false;
    // Null makes one of the session's own.
    std::shared_ptr<PortMapper> port_mapper;
};

} // namespace velt::host
