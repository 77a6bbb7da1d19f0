#include "bench/transport.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include "apilib/unix/transport/transport.h"
#include "apilib/wire/routines.h"
#include "bench/compare.h"
#include "bench/processor.h"
#include "bench/service.h"
#include "velt/api.h"

namespace velt::bench
{
namespace
{

constexpr rpcprog_t program = 0x20110000;
constexpr rpcproc_t get_int = number_of("api_vq_get_int_1");
constexpr rpcproc_t echo = 1;
constexpr timeval limit = {10, 0};

// The sizes of the call for an integer property and of its answer, with their record marks.
constexpr std::size_t call_bytes = 4 + 40 + 12;
constexpr std::size_t reply_bytes = 4 + 24 + 8;

void dispatch(svc_req *request, SVCXPRT *transport)
{
    if (request->rq_proc == get_int) {
        ApiVqGetPropArgT argument{};
        ApiVqGetIntRetT result{0, 42};
        svc_getargs(transport, routine<ApiVqGetPropArgT>(), reinterpret_cast<char *>(&argument));
        svc_sendreply(transport, routine<ApiVqGetIntRetT>(), reinterpret_cast<char *>(&result));
    } else {
        StringT text = nullptr;
        svc_getargs(transport, routine<StringT>(), reinterpret_cast<char *>(&text));
        svc_sendreply(transport, routine<StringT>(), reinterpret_cast<char *>(&text));
        V_ApiFree(text);
    }
}

// The bodies of the child processes: each tells its port, then serves until it is killed.

void serve_stock(const std::function<void(in_port_t)> &tell)
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

void serve_bytes(const std::function<void(in_port_t)> &tell)
{
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    socklen_t size = sizeof address;
    listen(listener, 1);
    getsockname(listener, reinterpret_cast<sockaddr *>(&address), &size);
    tell(ntohs(address.sin_port));
    const int fd = accept(listener, nullptr, nullptr);
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    char block[call_bytes] = {};
    while (read(fd, block, call_bytes) > 0 && write(fd, block, reply_bytes) > 0)
        ;
}

struct DestroyClient {
    void operator()(CLIENT *client) const { clnt_destroy(client); }
};
using Client = std::unique_ptr<CLIENT, DestroyClient>;

Client stock_client(sockaddr_in address)
{
    int fd = RPC_ANYSOCK;
    return Client(clnttcp_create(&address, program, 1, &fd, 0, 0));
}

Client our_client(const sockaddr_in &address)
{
    return Client(transport_connect(address, program, 1, limit));
}

void require(bool done)
{
    if (!done)
        throw std::runtime_error("a call failed");
}

void call_get_int(CLIENT *client)
{
    ApiVqGetPropArgT argument = {1, 2, {3, nullptr}};
    ApiVqGetIntRetT result{};
    require(clnt_call(client, get_int, routine<ApiVqGetPropArgT>(),
                      reinterpret_cast<char *>(&argument), routine<ApiVqGetIntRetT>(),
                      reinterpret_cast<char *>(&result), limit) == RPC_SUCCESS &&
            result.result == 42);
}

void call_echo(CLIENT *client, const std::string &text)
{
    auto *argument = const_cast<StringT>(text.c_str());
    StringT result = nullptr;
    require(clnt_call(client, echo, routine<StringT>(), reinterpret_cast<char *>(&argument),
                      routine<StringT>(), reinterpret_cast<char *>(&result), limit) == RPC_SUCCESS);
    V_ApiFree(result);
}

template <class Call>
void against_stock(benchmark::State &state, std::size_t count, Call call)
{
    const ServiceProcess stock(serve_stock), own(serve_ours);
    const Client theirs = stock_client(stock.address()), our = our_client(own.address());
    require(theirs && our);
    compare(
        state, [&] { return timed(count, [&](std::size_t) { call(theirs.get()); }); },
        [&] { return timed(count, [&](std::size_t) { call(our.get()); }); });
}

void small_call(benchmark::State &state)
try {
    const OneProcessor one;
    against_stock(state, 500, call_get_int);
    state.counters[counter::goal] = 0.9;
} catch (const std::exception &error) {
    state.SkipWithError(error.what());
}

void small_call_beside_bytes(benchmark::State &state)
try {
    const OneProcessor one;
    const ServiceProcess bytes(serve_bytes), own(serve_ours);
    const Client our = our_client(own.address());
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    require(our && connect(fd, reinterpret_cast<const sockaddr *>(&bytes.address()),
                           sizeof(sockaddr_in)) == 0);
    char block[call_bytes] = {};
    compare(
        state,
        [&] {
            return timed(500, [&](std::size_t) {
                require(write(fd, block, call_bytes) > 0 && read(fd, block, reply_bytes) > 0);
            });
        },
        [&] { return timed(500, [&](std::size_t) { call_get_int(our.get()); }); });
    close(fd);
    state.counters[counter::goal] = 1.15;
} catch (const std::exception &error) {
    state.SkipWithError(error.what());
}

void large_call(benchmark::State &state, std::size_t size)
try {
    const std::string text(size, 'a');
    against_stock(state, 2'000'000 / size, [&](CLIENT *client) { call_echo(client, text); });
    state.counters[counter::goal] = 1.0;
} catch (const std::exception &error) {
    state.SkipWithError(error.what());
}

} // namespace

void register_transport()
{
    benchmark::RegisterBenchmark("call / RPC library's, one CPU", small_call)->Iterations(101);
    benchmark::RegisterBenchmark("call / bytes on a socket, one CPU", small_call_beside_bytes)
        ->Iterations(101);
    benchmark::RegisterBenchmark("echo of 100 kB / RPC library's", large_call, 100'000)
        ->Iterations(101);
    benchmark::RegisterBenchmark("echo of 1 MB / RPC library's", large_call, 1'000'000)
        ->Iterations(101);
}

} // namespace velt::bench
