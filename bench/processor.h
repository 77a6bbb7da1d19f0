// Keeps processes on one processor, so that it does not matter where the system puts them.
#pragma once

#include <sched.h>

namespace velt::bench
{

inline void pin(int cpu)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(cpu, &set);
    sched_setaffinity(0, sizeof set, &set);
}

// Binds this process, and those that it starts, to one processor until the end of the scope.
class OneProcessor
{
public:
    OneProcessor()
    {
        sched_getaffinity(0, sizeof before_, &before_);
        pin(sched_getcpu());
    }
    ~OneProcessor() { sched_setaffinity(0, sizeof before_, &before_); }
    OneProcessor(const OneProcessor &) = delete;
    OneProcessor &operator=(const OneProcessor &) = delete;

private:
    cpu_set_t before_;
};

} // namespace velt::bench
