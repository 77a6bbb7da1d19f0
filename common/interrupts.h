// Signals that ask the program to end: it does so in order.
#pragma once

#include <csignal>

#include "common/error.h"

namespace velt
{

// What the signal handlers write: the last signal, and how many there have been.
struct Interrupts {
    volatile std::sig_atomic_t signal = 0;
    volatile std::sig_atomic_t count = 0;
};
extern Interrupts interrupts;

// From now on SIGINT, SIGTERM and SIGHUP are counted, and interrupt what waits.
void watch_interrupts();

// Thrown out of what is interrupted.
struct Interrupted : Error {
    Interrupted() : Error(failed, "interrupted") {}
};

} // namespace velt
