// The processes that come from one, and what they are about.
#pragma once

#include <sys/types.h>

#include <set>
#include <string>
#include <vector>

namespace velt::host
{

struct Relative {
    pid_t id;
    bool ended; // it only waits to be reaped
};

// Returns the processes that come from one, without those that are spared, and what comes from
// these.
std::vector<Relative> descendants(pid_t of, const std::set<pid_t> &spared = {});

// Returns the words of a process's command line, fit to print.
std::string command_line(pid_t id);

// Returns what the process's descriptors are of, such as "3 (/dev/null)"; nothing when the system
// does not tell.
std::vector<std::string> descriptors_of(pid_t id);

} // namespace velt::host
