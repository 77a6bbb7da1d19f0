#include "host/check/probe.h"

#include "apilib/unix/transport/transport.h"
#include "host/check/arena.h"

namespace velt::host
{

Probe::Probe(Host &host, Client &client, in_port_t port, std::chrono::milliseconds limit)
    : host_(host), client_(client), limit_(limit)
{
    const auto replied = [this](const rpc_err &error) { replies_.push_back(error.re_status); };
    if (!connection_.open(on_loopback(port), client.program, client.version, replied))
        throw Violation{client.title() + ": " + clnt_spcreateerror("its service takes no call")};
}

clnt_stat Probe::call(rpcproc_t number)
{
    const std::size_t before = replies_.size();
    // The quit has no argument either.
    const Procedure *quit = find_procedure(client_procedures(), callback::vq_api_quit_1::number);
    const Procedure made{number, "a probe", quit->argument, quit->result};
    if (connection_.send(made, nullptr) != RPC_SUCCESS)
        throw Violation{client_.title() + ": does not take procedure " + std::to_string(number)};
    const auto settled = [&] { return replies_.size() > before || !client_.running(); };
    host_.serve_until(settled, limit_);
    if (replies_.size() == before)
        throw Violation{client_.title() + ": " +
                        (client_.running()
                             ? "has not answered procedure " + std::to_string(number) + " within " +
                                   std::to_string(limit_.count()) + " ms"
                             : client_.ending())};
    return replies_.back();
}

} // namespace velt::host
