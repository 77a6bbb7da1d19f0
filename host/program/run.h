// `vqhost run`: a book, clients, and the commands for both.
#pragma once

#include "host/program/arguments.h"

namespace velt::host
{

// Carries out a run and returns the exit code. Writes the requested report whatever happens. Throws
// the error that has ended the run.
int run(const Arguments &arguments);

} // namespace velt::host
