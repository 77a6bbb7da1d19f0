// `vqhost doctor`: whether the machine and the surroundings are such that clients can be run.
#pragma once

#include <string>

namespace velt::host
{

// Prints a line for each check, `OK` or `WRONG` with what helps. Returns whether all is well.
bool examine();
// Returns the names of the checks, as a list for a person.
std::string names_of_checks();

} // namespace velt::host
