// Facts about another process, as the system tells them.
#pragma once

#include <sys/types.h>

namespace velt
{

struct ProcessFacts {
    char state; // as ps(1) shows it
    pid_t parent;
    bool exiting; // it is exiting, although the kernel has not released it yet
    unsigned long long
        start; // its start time, which tells it from a later process with the same id
};

// False when there is no such process, or its facts cannot be read.
bool read_process(pid_t id, ProcessFacts &facts);

// The start time of the process; 0 when it is not known.
unsigned long long start_of(pid_t id);

// Returns whether the process with this id and start time is running. A process that has exited
// stays a zombie until its parent asks for its status.
bool lives(pid_t id, unsigned long long start);

} // namespace velt
