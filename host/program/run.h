// `vqhost run`: a book, clients, and the commands for both.
#pragma once

#include "host/program/arguments.h"

namespace velt::host
{

// The exit code. Writes the report that is asked for, whatever happens. Throws what has ended the
// run.
int run(const Arguments &arguments);

} // namespace velt::host
