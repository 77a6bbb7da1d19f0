// What a trace tells of the calls between the host and a client.
#pragma once

#include "host/session/client.h"
#include "host/trace/sink.h"

namespace velt::host
{

// Each does nothing for an empty sink.

// A call of the host is sent.
void trace_sent(const TraceSink &sink, const Client &client, const Procedure &procedure,
                void *argument);
// How a call of the host, or a turn that the client took, has ended.
void trace_return(const TraceSink &sink, const Client &client, const Turn &turn,
                  const std::string &outcome);

// A call of a client that has begun; its arguments, result, outcome and duration are filled in.
TraceEvent begun(const Client &client, const Procedure &procedure);

} // namespace velt::host
