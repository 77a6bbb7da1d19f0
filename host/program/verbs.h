// What vqhost can be told to do on its command line.
#pragma once

namespace velt::host
{

// Carries out the verb with which the arguments begin, or tells about the program, and returns the
// exit code. Throws Error for wrong usage.
int carry_out(int argc, char **argv);

} // namespace velt::host
