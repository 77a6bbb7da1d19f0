// The function that receives each event of a trace.
#pragma once

#include <functional>

namespace velt::host
{

struct TraceEvent;
// It throws nothing: what it cannot write, it keeps in mind.
using TraceSink = std::function<void(const TraceEvent &)>;

} // namespace velt::host
