// The filter that selects the events of a trace.
#pragma once

#include <string>
#include <vector>

#include "host/trace/trace.h"

namespace velt::host
{

// A list, separated by commas, of procedure names, with * and ? as wildcards, and of `failures`. An
// empty list lets all events through.
class TraceFilter
{
public:
    // Throws Error for a name that matches no procedure.
    explicit TraceFilter(const std::string &list);
    bool shows(const TraceEvent &event) const;

private:
    std::vector<std::string> patterns_;
    bool failures_ = false;
};

} // namespace velt::host
