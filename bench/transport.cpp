#include "bench/transport.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "bench/compare.h"
#include "bench/echo.h"
#include "bench/processor.h"
#include "bench/service.h"

namespace velt::bench
{
namespace
{

// The sizes of the call for an integer property and of its answer, with their record marks.
constexpr std::size_t call_bytes = 4 + 40 + 12;
constexpr std::size_t reply_bytes = 4 + 24 + 8;

// The body of a child process, which tells its port, then serves until it is killed.
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

template <class Call>
void against_stock(benchmark::State &state, std::size_t count, Call call)
{
    const Echo stock(Echo::rpc_library), own(Echo::ours);
    compare(
        state, [&] { return timed(count, [&](std::size_t) { call(stock); }); },
        [&] { return timed(count, [&](std::size_t) { call(own); }); });
}

void small_call(benchmark::State &state)
try {
    const OneProcessor one;
    against_stock(state, 500, [](const Echo &echo) { echo.get_int(); });
    state.counters[counter::goal] = 0.85;
} catch (const std::exception &error) {
    state.SkipWithError(error.what());
}

void small_call_beside_bytes(benchmark::State &state)
try {
    const OneProcessor one;
    const ServiceProcess bytes(serve_bytes);
    const Echo own(Echo::ours);
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const auto require = [](bool done) {
        if (!done)
            throw std::runtime_error("a socket failed");
    };
    require(connect(fd, reinterpret_cast<const sockaddr *>(&bytes.address()),
                    sizeof(sockaddr_in)) == 0);
    char block[call_bytes] = {};
    compare(
        state,
        [&] {
            return timed(500, [&](std::size_t) {
                require(write(fd, block, call_bytes) > 0 && read(fd, block, reply_bytes) > 0);
            });
        },
        [&] { return timed(500, [&](std::size_t) { own.get_int(); }); });
    close(fd);
    state.counters[counter::goal] = 1.08;
} catch (const std::exception &error) {
    state.SkipWithError(error.what());
}

void large_call(benchmark::State &state, std::size_t size)
try {
    const std::string text(size, 'a');
    against_stock(state, 2'000'000 / size, [&](const Echo &echo) { echo.send(text); });
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
