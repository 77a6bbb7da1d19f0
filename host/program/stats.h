// `vqhost stats`.
#pragma once

namespace velt::host
{

// Prints what a recording tells of calls. Returns the exit status. Throws Error.
int stats(int argc, char **argv);

} // namespace velt::host
