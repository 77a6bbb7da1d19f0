#include "bench/mock.h"

#include <stdexcept>

#include "apilib/wire/routines.h"
#include "bench/compare.h"
#include "velt/api.h"
#include "velt/mock.h"

namespace velt::bench
{
namespace
{

constexpr std::size_t calls_in_block = 2000;

// Encodes and decodes a message, as each end of a connection does.
template <class Message>
void there_and_back(Message &message)
{
    char bytes[256];
    XDR xdrs;
    xdrmem_create(&xdrs, bytes, sizeof bytes, XDR_ENCODE);
    Message copy{};
    bool done = routine<Message>()(&xdrs, &message);
    xdrmem_create(&xdrs, bytes, xdr_getpos(&xdrs), XDR_DECODE);
    done = done && routine<Message>()(&xdrs, &copy);
    xdr_free(routine<Message>(), &copy);
    if (!done)
        throw std::runtime_error("a message cannot be coded");
}

void mocked_call(benchmark::State &state)
try {
    if (V_MockOpen(nullptr, nullptr) != 0)
        throw std::runtime_error("no mock");
    compare(
        state,
        [&] {
            return timed(calls_in_block, [&](std::size_t) {
                ApiVqGetPropArgT argument{0, 0, {V_prop_language, nullptr}};
                ApiVqGetIntRetT result{0, 1};
                there_and_back(argument);
                there_and_back(result);
            });
        },
        [&] {
            V_MockForget();
            return timed(calls_in_block, [&](std::size_t) { V_ApiGetInt(0, 0, V_prop_language); });
        });
    if (VA_errno != 0 || V_MockClose() != 0)
        throw std::runtime_error("the mock has failed");
} catch (const std::exception &error) {
    V_MockClose();
    state.SkipWithError(error.what());
}

} // namespace

void register_mock()
{
    benchmark::RegisterBenchmark("V_ApiGetInt with a mock / coding alone", mocked_call)
        ->Iterations(101);
}

} // namespace velt::bench
