// The cost of a session: round trips, callbacks, start-up.
#pragma once

#include <memory>

#include "bench/service.h"

namespace velt::bench
{

// Returns the process that acts as the host and as the session's port mapper; it must outlive the
// benchmarks.
[[nodiscard]] std::unique_ptr<ServiceProcess> register_calls();

} // namespace velt::bench
