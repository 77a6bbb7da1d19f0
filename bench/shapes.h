// What each shape of call costs, beside the bare call of the same records.
#pragma once

#include <string>

namespace velt::bench
{

// The host of the session must outlive the benchmarks.
void register_shapes(const std::string &session);

} // namespace velt::bench
