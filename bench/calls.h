// What a session costs: round trips, callbacks, start-up.
#pragma once

#include <memory>

#include "bench/service.h"

namespace velt::bench
{

// Returns the process that plays the host and the session's port mapper; it must outlive the
// benchmarks.
[[nodiscard]] std::unique_ptr<Server> register_calls();

} // namespace velt::bench
