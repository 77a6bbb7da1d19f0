// What a session costs: round trips, callbacks, start-up.
#pragma once

#include "host/helper_process.h"

namespace velt::bench
{

// Returns the process that plays the host; it must outlive the benchmarks.
[[nodiscard]] host::HelperProcess register_calls();

} // namespace velt::bench
