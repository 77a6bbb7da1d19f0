#include "mock/memory_link.h"

#include <new>
#include <utility>

#include "apilib/unix/transport/transport.h"

namespace velt::mock
{
namespace
{

bool code(std::string &bytes, xdr_op operation, xdrproc_t routine, void *message)
{
    XDR xdrs;
    xdrmem_create(&xdrs, bytes.data(), static_cast<u_int>(bytes.size()), operation);
    return routine(&xdrs, message) && xdr_getpos(&xdrs) == bytes.size();
}

bool encode(std::string &bytes, xdrproc_t routine, void *message)
{
    bytes.resize(xdr_sizeof(routine, message));
    return code(bytes, XDR_ENCODE, routine, message);
}

using Operations = std::remove_pointer_t<decltype(SVCXPRT::xp_ops)>;
using MoreOperations = std::remove_pointer_t<decltype(SVCXPRT::xp_ops2)>;

} // namespace

// A call that is being served, and its end of the connection.
struct MemoryLink::Exchange {
    MemoryLink *link;
    std::string arguments = {}, result = {};
    rpc_err error{RPC_TIMEDOUT, {}};
    bool replied = false;
    SVCXPRT transport{};

    static Exchange &of(SVCXPRT *transport) { return *static_cast<Exchange *>(transport->xp_p1); }
};

MemoryLink::MemoryLink(int descriptor, Owner owner)
    : descriptor_(descriptor), owner_(std::move(owner))
{
    static std::remove_pointer_t<decltype(CLIENT::cl_ops)> operations = {
        call,
        [](CLIENT *) {},
        [](CLIENT *handle, rpc_err *error) { *error = of(handle).error_; },
        [](CLIENT *, xdrproc_t routine, void *result) -> bool_t {
            xdr_free(routine, static_cast<char *>(result));
            return TRUE;
        },
        [](CLIENT *handle) { of(handle).ended_ = true; },
        [](CLIENT *handle, u_int request, void *into) -> bool_t {
            const Owner &self = of(handle).owner_;
            if (request == name_request && self.name)
                *static_cast<const char **>(into) = self.name;
            return request == serve_request && self.wait && self.wait();
        },
    };
    handle_.cl_ops = &operations;
    handle_.cl_private = this;
}

void MemoryLink::end()
{
    if (!std::exchange(ended_, true) && owner_.ended)
        owner_.ended();
}

void MemoryLink::lack_memory(const std::bad_alloc &error) const
{
    if (owner_.failed)
        owner_.failed(error);
}

bool_t MemoryLink::reply(SVCXPRT *transport, rpc_msg *message)
{
    Exchange &exchange = Exchange::of(transport);
    if (std::exchange(exchange.replied, true))
        return FALSE;
    _seterr_reply(message, &exchange.error);
    if (exchange.error.re_status != RPC_SUCCESS)
        return TRUE;
    const auto &[where, routine] = message->acpted_rply.ar_results;
    try {
        if (encode(exchange.result, routine, where))
            return TRUE;
    } catch (const std::bad_alloc &error) {
        exchange.link->lack_memory(error);
        exchange.error.re_status = RPC_CANTRECV;
        return FALSE;
    }
    exchange.error.re_status = RPC_CANTRECV;
    exchange.link->end();
    return FALSE;
}

void MemoryLink::break_off(SVCXPRT *transport)
{
    Exchange &exchange = Exchange::of(transport);
    exchange.replied = true;
    exchange.error.re_status = RPC_CANTRECV;
    exchange.link->end();
}

void MemoryLink::serve(rpcproc_t procedure, Exchange &exchange)
{
    static constexpr Operations operations = {
        [](SVCXPRT *, rpc_msg *) -> bool_t { return FALSE; },
        [](SVCXPRT *) { return XPRT_IDLE; },
        [](SVCXPRT *transport, xdrproc_t routine, void *argument) -> bool_t {
            return code(Exchange::of(transport).arguments, XDR_DECODE, routine, argument);
        },
        reply,
        [](SVCXPRT *, xdrproc_t routine, void *argument) -> bool_t {
            xdr_free(routine, static_cast<char *>(argument));
            return TRUE;
        },
        break_off};
    static constexpr MoreOperations more = {
        [](SVCXPRT *, u_int, void *) -> bool_t { return FALSE; }};
    exchange.transport.xp_fd = descriptor_;
    exchange.transport.xp_ops = &operations;
    exchange.transport.xp_ops2 = &more;
    exchange.transport.xp_verf = _null_auth;
    exchange.transport.xp_p1 = &exchange;
    svc_req request{};
    request.rq_vers = 1;
    request.rq_proc = static_cast<std::uint32_t>(procedure);
    request.rq_xprt = &exchange.transport;
    owner_.serve(request);
}

clnt_stat MemoryLink::call(CLIENT *handle, rpcproc_t procedure, xdrproc_t encoding, void *argument,
                           xdrproc_t decoding, void *result, timeval)
{
    MemoryLink &self = of(handle);
    self.error_ = {};
    const auto fail = [&](clnt_stat status) { return self.error_.re_status = status; };
    if (self.ended_) {
        if (self.owner_.ignored)
            self.owner_.ignored();
        return fail(RPC_CANTSEND);
    }
    try {
        Exchange exchange{&self};
        if (!encode(exchange.arguments, encoding, argument))
            return fail(RPC_CANTENCODEARGS);
        self.serve(procedure, exchange);
        self.error_ = exchange.error;
        if (self.error_.re_status == RPC_SUCCESS &&
            !code(exchange.result, XDR_DECODE, decoding, result))
            fail(RPC_CANTDECODERES);
    } catch (const std::bad_alloc &error) {
        self.lack_memory(error);
        fail(RPC_CANTENCODEARGS);
    }
    return self.error_.re_status;
}

clnt_stat MemoryLink::send(rpcproc_t procedure, const std::string &arguments)
{
    Exchange exchange{this, arguments};
    serve(procedure, exchange);
    return exchange.error.re_status;
}

const std::string &MemoryLink::arguments(const svc_req &request)
{
    return Exchange::of(request.rq_xprt).arguments;
}

} // namespace velt::mock
