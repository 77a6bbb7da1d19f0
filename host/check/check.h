// The check-up of a client, point by point.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "host/check/session.h"

namespace velt::host
{

// Returns the names of all points, and what each checks in a line.
std::vector<std::string> names_of_points();
std::string list_of_points();

// Examines the points whose names match one of the patterns, or all when there is none, and prints
// what has come of each at once, in the format of TAP 14. Returns whether no point has failed.
// Throws Error for a pattern that matches no point, and Interrupted.
bool check_up(Subject subject, const std::vector<std::string> &patterns, std::ostream &out);

} // namespace velt::host
