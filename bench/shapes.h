// The cost of each shape of call, compared with the bare call of the same stub.
#pragma once

#include <string>

namespace velt::bench
{

// The host of the session must outlive the benchmarks.
void register_shapes(const std::string &session);

} // namespace velt::bench
