// A call of the client library with the host in memory.
#pragma once

namespace velt::bench
{

void register_mock();

} // namespace velt::bench
