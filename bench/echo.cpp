#include "bench/echo.h"

#include <functional>
#include <stdexcept>

#include "apilib/unix/transport/transport.h"
#include "apilib/wire/routines.h"
#include "velt/api.h"

namespace velt::bench
{
namespace
{

constexpr rpcprog_t program = 0x20110000;
constexpr rpcproc_t get_int_procedure = number_of("api_vq_get_int_1");
constexpr rpcproc_t echo = 1;
constexpr rpcproc_t echo_list = 2;
constexpr timeval limit = {10, 0};

void dispatch(svc_req *request, SVCXPRT *transport)
{
    if (request->rq_proc == get_int_procedure) {
        ApiVqGetPropArgT argument{};
        ApiVqGetIntRetT result{0, 42};
        svc_getargs(transport, routine<ApiVqGetPropArgT>(), reinterpret_cast<char *>(&argument));
        svc_sendreply(transport, routine<ApiVqGetIntRetT>(), reinterpret_cast<char *>(&result));
    } else if (request->rq_proc == echo_list) {
        V_StringsT list{};
        svc_getargs(transport, routine<V_StringsT>(), reinterpret_cast<char *>(&list));
        svc_sendreply(transport, routine<V_StringsT>(), reinterpret_cast<char *>(&list));
        V_ApiDeallocateStrings(&list);
    } else {
        StringT text = nullptr;
        svc_getargs(transport, routine<StringT>(), reinterpret_cast<char *>(&text));
        svc_sendreply(transport, routine<StringT>(), reinterpret_cast<char *>(&text));
        V_ApiFree(text);
    }
}

// The bodies of the child processes: each tells its port, then serves until it is killed.

void serve_rpc_library(const std::function<void(in_port_t)> &tell)
{
    SVCXPRT *service = svctcp_create(RPC_ANYSOCK, 0, 0);
    svc_register(service, program, 1, dispatch, 0);
    tell(service->xp_port);
    svc_run();
}

void serve_ours(const std::function<void(in_port_t)> &tell)
{
    SVCXPRT *service = transport_listen(
        {[](void *, svc_req *request, SVCXPRT *connection) { dispatch(request, connection); },
         nullptr, nullptr, nullptr});
    // The service is not registered, because the caller knows its port.
    transport_set_program(service, program, 1);
    tell(service->xp_port);
    for (;;) {
        transport_wait(nullptr, 1000);
        transport_dispatch();
    }
}

void require(bool done)
{
    if (!done)
        throw std::runtime_error("a call failed");
}

CLIENT *connect(Echo::Transport transport, sockaddr_in address)
{
    int fd = RPC_ANYSOCK;
    return transport == Echo::ours ? transport_connect(address, program, 1, limit)
                                   : clnttcp_create(&address, program, 1, &fd, 0, 0);
}

} // namespace

Echo::Echo(Transport transport)
    : service_(transport == ours ? serve_ours : serve_rpc_library),
      client_(connect(transport, service_.address()))
{
    require(client_ != nullptr);
}

void Echo::get_int() const
{
    ApiVqGetPropArgT argument = {1, 2, {3, nullptr}};
    ApiVqGetIntRetT result{};
    require(clnt_call(client_.get(), get_int_procedure, routine<ApiVqGetPropArgT>(),
                      reinterpret_cast<char *>(&argument), routine<ApiVqGetIntRetT>(),
                      reinterpret_cast<char *>(&result), limit) == RPC_SUCCESS &&
            result.result == 42);
}

void Echo::send(const std::string &text) const
{
    auto *argument = const_cast<StringT>(text.c_str());
    StringT result = nullptr;
    require(clnt_call(client_.get(), echo, routine<StringT>(), reinterpret_cast<char *>(&argument),
                      routine<StringT>(), reinterpret_cast<char *>(&result), limit) == RPC_SUCCESS);
    V_ApiFree(result);
}

void Echo::send(const V_StringsT &list) const
{
    V_StringsT argument = list, result{};
    require(clnt_call(client_.get(), echo_list, routine<V_StringsT>(),
                      reinterpret_cast<char *>(&argument), routine<V_StringsT>(),
                      reinterpret_cast<char *>(&result), limit) == RPC_SUCCESS &&
            result.len == list.len);
    V_ApiDeallocateStrings(&result);
}

} // namespace velt::bench
