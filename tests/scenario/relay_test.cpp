// What vqrecord passes on between a host and its client.

#include <linux/sockios.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>

#include <gtest/gtest.h>

#include "apilib/unix/transport/transport.h"
#include "common/descriptor.h"
#include "support/mapper_process.h"
#include "support/service_process.h"
#include "tools/vqrecord/relay.h"

namespace velt::vqrecord
{
namespace
{

struct Told : Relay::Watcher {
    void called(Caller, int connection, const Message &) override { add("called", connection); }
    void answered(Caller, int connection, const Message &) override { add("answered", connection); }
    void closed(Caller, int connection) override { add("closed", connection); }
    void connected(Caller) override {}
    void report(const std::string &what) override { ADD_FAILURE() << what; }
    void broke_off(const std::string &what) override { ADD_FAILURE() << what; }
    void add(const std::string &what, int connection)
    {
        all += what + " " + std::to_string(connection) + "; ";
    }
    std::string all;
};

// What has been sent there, and the end, has come to the other side.
void await_arrival(const test::Peer &from)
{
    for (int left = 1; left > 0;)
        ASSERT_EQ(ioctl(from.descriptor(), SIOCOUTQ, &left), 0);
}

// It has come before that is looked for, right behind a call, and so does a call of another client.
TEST(Relay, TellsTheClientOfAnEndBeforeItWaits)
{
    const test::MapperProcess mapper;
    const auto [listener, port] = test::socket_on_loopback();
    const Descriptor service(listener), other(eventfd(1, EFD_CLOEXEC));
    ASSERT_TRUE(mapper_set(test::program, 1, IPPROTO_TCP, port));
    Told told;
    Relay relay(told, [] { return false; });
    const in_port_t offered = relay.listen({Caller::client, 1, 1, test::program}, true);
    const std::string call = test::fragment(test::head(5, 7, 1));
    const auto send = [](test::Peer &from, const std::string &bytes) {
        EXPECT_TRUE(from.send(bytes));
        await_arrival(from);
    };
    const auto connect = [&](test::Peer &client) {
        relay.serve(other.get());
        test::Peer host(accept(service.get(), nullptr, nullptr));
        send(client, call);
        relay.serve(other.get());
        send(host, test::null_reply());
        relay.serve(other.get());
        return host;
    };
    test::Peer second(offered);
    const test::Peer host_of_second = connect(second);
    test::Peer first(offered);
    const test::Peer host = connect(first);
    told.all.clear();

    send(first, call);
    shutdown(host.descriptor(), SHUT_WR);
    await_arrival(host);
    send(second, call);
    relay.serve(other.get());
    relay.serve(other.get());
    EXPECT_EQ(told.all, "called 2; closed 2; called 1; ");
}

} // namespace
} // namespace velt::vqrecord
