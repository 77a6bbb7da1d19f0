// Signals that ask the program to end in an orderly way.
#pragma once

#include <csignal>

#include "common/error.h"

namespace velt
{

// State that the signal handlers write: the last signal, and the number of signals so far.
struct Interrupts {
    volatile std::sig_atomic_t signal = 0;
    volatile std::sig_atomic_t count = 0;
};
extern Interrupts interrupts;

// The time, in milliseconds, for which a wait may last before it looks for a signal.
inline constexpr int interrupt_interval = 100;

// Has SIGINT, SIGTERM and SIGHUP counted from now on, and has them interrupt blocking system calls.
void watch_interrupts();

// Thrown by an operation that a signal interrupts.
struct Interrupted : Error {
    Interrupted() : Error(failed, "interrupted") {}
};

} // namespace velt
