#include "host/session/tracing.h"

#include "host/trace/trace.h"

namespace velt::host
{
namespace
{

TraceEvent event(const Client &client, Direction direction, std::string_view procedure,
                 rpcproc_t number, std::size_t depth)
{
    return {.time = std::chrono::system_clock::now(),
            .client = client.number,
            .client_name = client.name,
            .direction = direction,
            .program = client.program,
            .version = client.version,
            .procedure = procedure,
            .number = static_cast<unsigned>(number),
            .depth = depth};
}

} // namespace

TraceEvent begun(const Client &client, const Procedure &procedure, const svc_req &request)
{
    TraceEvent call =
        event(client, Direction::to_host, procedure.name, procedure.number, client.turns.depth());
    call.program = static_cast<unsigned>(request.rq_prog);
    call.version = static_cast<unsigned>(request.rq_vers);
    return call;
}

void trace_sent(const TraceSink &sink, const Client &client, const Procedure &procedure,
                void *argument)
{
    if (!sink)
        return;
    const std::size_t depth = client.turns.depth();
    TraceEvent sent = event(client, Direction::to_client, procedure.name, procedure.number,
                            depth == 0 ? 0 : depth - 1);
    sent.arguments = {procedure.argument.shape, argument};
    sent.client_waits = client.being_answered;
    sink(sent);
}

void trace_return(const TraceSink &sink, const Client &client, const Turn &turn,
                  const std::string &outcome)
{
    if (!sink)
        return;
    TraceEvent returned = event(client, Direction::from_client, turn.procedure, turn.number,
                                client.turns.depth_of(turn.id));
    returned.outcome = outcome;
    returned.exit_status = client.exit_status;
    returned.duration = std::chrono::steady_clock::now() - turn.since;
    sink(returned);
}

} // namespace velt::host
