// The filter that selects the events of a trace.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/trace/trace.h"

namespace velt::host
{

// A list, separated by commas, of procedure names, with * and ? as wildcards, and of conditions. An
// event is shown when one of the names fits and each kind of condition is met; of conditions of one
// kind, one has to be. What a list does not say lets all events through.
class TraceFilter
{
public:
    TraceFilter() = default;
    // Throws Error for a name that matches no procedure, and for an unknown condition.
    explicit TraceFilter(const std::string &list);
    bool shows(const TraceEvent &event) const;

private:
    std::vector<std::string> patterns_;
    std::vector<std::int64_t> clients_, statuses_;
    std::optional<std::chrono::nanoseconds> least_duration_;
    bool failures_ = false;
};

} // namespace velt::host
