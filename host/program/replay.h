// `vqhost replay`.
#pragma once

#include "host/program/arguments.h"

namespace velt::host
{

// Plays the host's part of a recording to the one client of the arguments. Returns the exit status:
// 0 when the client does what was recorded. Throws Error.
int replay(const Arguments &arguments);

} // namespace velt::host
