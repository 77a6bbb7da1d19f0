// Two users, two machines: who may speak to whom.

#include <arpa/inet.h>
#include <sched.h>

#include "apilib/unix/transport/transport.h"
#include "host/hosted_clients.h"
#include "support/mapper_process.h"
#include "support/service_process.h"

namespace velt::test
{
namespace
{

constexpr rpcprog_t other_program = program + 1;

template <class Base>
struct OfRoot : Base {
    void SetUp() override
    {
        if (geteuid() != 0)
            GTEST_SKIP() << "needs root, to be two users and to have networks of its own";
    }
};
using Machine = OfRoot<testing::Test>;
using HostOfRoot = OfRoot<host::HostedClients>;

TEST_F(Machine, AnotherUserIsTurnedAwayAndReportedOnce)
{
    ServiceProcess service([] {
        if (setuid(1234) != 0)
            _exit(1);
    });
    for (int i = 0; i < 2; i++)
        EXPECT_EXIT(
            {
                const bool other = setuid(65534) == 0;
                Peer peer(service.port());
                peer.send(fragment(head(NULLPROC)));
                _exit(other && peer.closed() ? 0 : 1);
            },
            testing::ExitedWithCode(0), "");
    Peer root(service.port());
    ASSERT_TRUE(root.send(fragment(head(reports))));
    EXPECT_EQ(root.receive(32), fragment(words({7, 1, 0, 0, 0, 0, 1})));
}

void shell(const std::string &command)
{
    if (std::system(command.c_str()) != 0)
        throw std::runtime_error(command);
}

// Two networks with a cable between them: the service's, at 10.9.0.1, and that of a process which
// speaks to it as 10.9.0.2, the host's machine, and as 10.9.0.3.
void speak_from_two_machines()
{
    const auto require = [](bool done) {
        if (!done)
            throw std::runtime_error("no networks");
    };
    int ready[2], port_known[2];
    in_port_t port = 0;
    require(unshare(CLONE_NEWNET) == 0 && pipe(ready) == 0 && pipe(port_known) == 0);
    const pid_t other = fork();
    if (other == 0) {
        require(unshare(CLONE_NEWNET) == 0 && ::write(ready[1], &port, sizeof port) > 0 &&
                ::read(port_known[0], &port, sizeof port) > 0);
        shell("ip addr add 10.9.0.2/24 dev far && ip addr add 10.9.0.3/24 dev far && "
              "ip link set far up");
        const auto heard_as = [port](const char *machine) {
            Peer peer(port, inet_addr("10.9.0.1"), inet_addr(machine));
            peer.send(fragment(head(NULLPROC)));
            return peer.receive(28) == null_reply();
        };
        EXPECT_TRUE(heard_as("10.9.0.2"));
        EXPECT_FALSE(heard_as("10.9.0.3"));
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    require(::read(ready[0], &port, sizeof port) > 0);
    shell("ip link set lo up && ip link add near type veth peer name far && "
          "ip addr add 10.9.0.1/24 dev near && ip link set near up && ip link set far netns " +
          std::to_string(other));
    ServiceProcess service(nullptr, inet_addr("10.9.0.2"));
    port = service.port();
    require(::write(port_known[1], &port, sizeof port) > 0);
    int status = -1;
    waitpid(other, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST_F(Machine, OfOtherMachinesOnlyTheHostsMaySpeak)
{
    if (std::system("unshare --net ip link add near type veth peer name far 2>/dev/null") != 0)
        GTEST_SKIP() << "the machine makes no networks with a cable between them";
    EXPECT_EXIT((speak_from_two_machines(), _exit(HasFailure())), testing::ExitedWithCode(0), "");
}

TEST_F(Machine, APortMapperOfAnotherUserIsNotBelievedAndDoesNotListen)
{
    const auto found = [] {
        return mapper_find(on_loopback(), other_program, 1, IPPROTO_TCP, {60, 0});
    };
    {
        // Root may do what that user may, but is told nothing by it.
        const MapperProcess others(1234);
        EXPECT_FALSE(mapper_set(other_program, 1, IPPROTO_TCP, 40000));
        EXPECT_EQ(found(), 0);
        EXPECT_EQ(rpc_createerr.cf_error.re_errno, EACCES);
    }
    const MapperProcess mapper;
    EXPECT_EXIT(_exit(setuid(1234) != 0 || mapper_set(other_program, 1, IPPROTO_TCP, 40000)),
                testing::ExitedWithCode(0), "");
    EXPECT_EQ(found(), 0);
}

TEST_F(Machine, AnotherUsersServiceIsNotCalled)
{
    // Nothing is accepted: whose the connection is shows by who listens.
    const auto is_refused = [] {
        const bool other = seteuid(1234) == 0;
        const SVCXPRT *service = transport_listen({}, htonl(INADDR_LOOPBACK));
        return other && service && seteuid(0) == 0 &&
               !transport_connect(on_loopback(service->xp_port), other_program, 1, {60, 0}) &&
               rpc_createerr.cf_error.re_errno == EACCES;
    };
    EXPECT_EXIT(_exit(is_refused() ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST_F(HostOfRoot, ADatagramOfAnotherUserIsTurnedAway)
{
    const UIntT session = host.session_program();
    const std::string ask = fragment(words({7, 0, 2, session, 1, 0, 0, 0, 0, 0})).substr(4);
    const pid_t stranger = fork();
    if (stranger == 0) {
        const sockaddr_in to = on_loopback(mapper->find(session, 1, IPPROTO_UDP));
        if (setuid(65534) != 0)
            _exit(1);
        // Whose it is counts as the socket is made.
        const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
        connect(descriptor, reinterpret_cast<const sockaddr *>(&to), sizeof to);
        char answer;
        _exit(send(descriptor, ask.data(), ask.size(), 0) > 0 && recv(descriptor, &answer, 1, 0) < 0
                  ? 0
                  : 1);
    }
    serve_until([&] { return console.reported("turned away a datagram"); });
    EXPECT_EQ(waitpid(stranger, nullptr, WNOHANG), 0) << "it waits for an answer";
    kill(stranger, SIGKILL);
    waitpid(stranger, nullptr, 0);
}

} // namespace
} // namespace velt::test
