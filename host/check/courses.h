// What a client does in each step when nothing goes wrong.
#pragma once

#include <utility>
#include <vector>

#include "host/check/session.h"

namespace velt::host
{

struct Course {
    Step step;
    bool opens_dialog = false, bails_out = false;
    // The procedures that the client calls, in the order of their first calls, and how often.
    std::vector<std::pair<const Procedure *, std::size_t>> calls = {};
};

// Returns the initialisation and the commands that are to be tried. They are found out once for all
// points. Throws Violation when a step does not come to its end, or a command that is to be tried
// is not there.
std::vector<Course> courses_of(const Subject &subject);

// Returns those of the commands, or those in which the client waits for a modal dialog. Throws
// Skipped when there is none, or Violation when there is to be one.
std::vector<Course> commands_of(const Subject &subject);
std::vector<Course> dialogs_of(const Subject &subject);

} // namespace velt::host
