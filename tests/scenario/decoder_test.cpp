// What vqrecord makes of messages when memory runs out.

#include <gtest/gtest.h>

#include "apilib/wire/routines.h"
#include "host/wire/procedures.h"
#include "support/heap.h"
#include "tools/vqrecord/decoder.h"

namespace velt::vqrecord
{
namespace
{

using host::procedure::api_vq_alert_1;

Message message_of(auto encode)
{
    Message made;
    made.block.grow(made.size = 256);
    XDR xdrs;
    xdrmem_create(&xdrs, made.bytes(), 256, XDR_ENCODE);
    EXPECT_TRUE(encode(&xdrs));
    made.size = XDR_GETPOS(&xdrs);
    return made;
}

// Whatever allocation fails: nothing is missing, or it is known that something is.
TEST(Decoder, KnowsWhenAMessageIsMissing)
{
    const Message call = message_of([](XDR *xdrs) {
        rpc_msg head{};
        head.rm_direction = CALL;
        head.rm_call.cb_rpcvers = RPC_MSG_VERSION;
        head.rm_call.cb_proc = api_vq_alert_1::number;
        char text[] = "a text that is too long to need no memory";
        api_vq_alert_1::Argument argument{text, 0};
        return xdr_callmsg(xdrs, &head) &&
               routine<api_vq_alert_1::Argument>()(xdrs, reinterpret_cast<caddr_t>(&argument));
    });
    const Message reply = message_of([](XDR *xdrs) {
        rpc_msg head{};
        head.rm_direction = REPLY;
        head.acpted_rply.ar_results.proc = routine<void>();
        IntT answer = 5;
        return xdr_replymsg(xdrs, &head) && xdr_int(xdrs, &answer);
    });
    std::size_t told = 0;
    for (long n = 0, fails = 1; fails; n++) {
        told = 0;
        Decoder decoder(
            [&](const host::TraceEvent &event) {
                told += event.outcome == host::outcomes::answered &&
                        !host::is_bytes(event.arguments.shape);
            },
            [](Caller) {});
        decoder.client.number = 1;
        fails = heap::fails(n, [&] {
            decoder.called(Caller::client, 1, call);
            decoder.answered(Caller::client, 1, reply);
        });
        EXPECT_EQ(decoder.is_complete(), told == 1) << n;
    }
    EXPECT_EQ(told, 1U);
}

} // namespace
} // namespace velt::vqrecord
