// What the transport costs, beside the RPC library's own and beside bare sockets.
#pragma once

namespace velt::bench
{

void register_transport();

} // namespace velt::bench
