// Tells a person what a scenario expected, and what has happened instead.
#pragma once

#include <string>
#include <vector>

#include "host/scenario/scenario.h"
#include "host/session/responder.h"
#include "host/trace/trace.h"
#include "host/values/text.h"

namespace velt::host
{

// A call that none of the candidates expects: the call decoded, the nearest of them with the fields
// that differ, and the others of the same procedure.
std::string unexpected_call(const Call &call, const std::vector<const ExpectedCall *> &candidates,
                            const SessionText &text);
// Has the step keep what this call, which is none that it expects, has to do with it.
void note_instead(ExpectedCall &step, const Call &call, const SessionText &text);
void note_instead(HostCall &step, const TracedMessage &arguments, const SessionText &text);
// A call that has not come, or too seldom.
std::string missing_call(const ExpectedCall &step);
std::string missing_call(const HostCall &step);

} // namespace velt::host
