// Makes the trace events of the calls between the host and a client.
#pragma once

#include "host/session/client.h"
#include "host/trace/sink.h"

namespace velt::host
{

// trace_sent and trace_return do nothing for an empty sink.

// Traces that a call of the host is sent.
void trace_sent(const TraceSink &sink, const Client &client, const Procedure &procedure,
                void *argument);
// Traces how a call of the host, or a turn that the client took, has ended.
void trace_return(const TraceSink &sink, const Client &client, const Turn &turn,
                  const std::string &outcome);

// Returns the event of a client's call that has begun; the caller fills in its arguments, result,
// outcome and duration.
TraceEvent begun(const Client &client, const Procedure &procedure, const svc_req &request);

} // namespace velt::host
