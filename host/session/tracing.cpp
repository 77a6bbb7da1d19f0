#include "host/session/tracing.h"

#include "host/trace/trace.h"

namespace velt::host
{
namespace
{

TraceEvent event(const Client &client, Direction direction, std::string_view procedure,
                 rpcproc_t number, std::size_t depth)
{
    return {std::chrono::system_clock::now(), client.number, direction, procedure,
            static_cast<unsigned>(number),    depth};
}

} // namespace

TraceEvent begun(const Client &client, const Procedure &procedure)
{
    return event(client, Direction::to_host, procedure.name, procedure.number,
                 client.turns.depth());
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
    returned.duration = std::chrono::steady_clock::now() - turn.since;
    sink(returned);
}

} // namespace velt::host
