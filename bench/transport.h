// The cost of the transport, compared with the RPC library's own and with bare sockets.
#pragma once

namespace velt::bench
{

void register_transport();

} // namespace velt::bench
