// What the system tells of another process.
#pragma once

#include <sys/types.h>

namespace velt
{

struct ProcessFacts {
    char state; // as ps(1) shows it
    pid_t parent;
    bool exiting;             // it runs no more, although it has not been closed down
    unsigned long long start; // when it was started; tells it from another of the same number
};

// False when there is no such process, or the system does not tell.
bool read_process(pid_t id, ProcessFacts &facts);

// When the process was started; 0 when that is not known.
unsigned long long start_of(pid_t id);

// Whether the process that was started then is there and has not ended; one that has ended stays
// until its parent asks for its status.
bool lives(pid_t id, unsigned long long start);

} // namespace velt
