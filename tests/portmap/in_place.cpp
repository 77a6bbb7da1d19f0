#include "portmap/in_place.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <grp.h>
#include <rpc/rpcb_prot.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace velt::host::test
{

Child::Child(const std::function<void()> &body)
{
    std::fflush(nullptr);
    id_ = fork();
    if (id_ != 0)
        return;
    alarm(120);
    try {
        body();
    } catch (const std::exception &error) {
        ADD_FAILURE() << error.what();
    }
    std::fflush(nullptr);
    std::exit(testing::Test::HasFailure());
}

Child::~Child()
{
    int status = -1;
    EXPECT_EQ(waitpid(id_, &status, 0), id_) << std::strerror(errno);
    EXPECT_EQ(status, 0) << "see the child's failures above";
}

void in_place(const PlaceOptions &options, const std::function<void()> &body)
{
    Child([&] {
        const HelperProcess mapper = enter_private_place(options);
        body();
    });
}

void become_nobody()
{
    if (geteuid() != 0)
        return;
    ASSERT_EQ(setgroups(0, nullptr), 0);
    ASSERT_EQ(setgid(nobody), 0);
    ASSERT_EQ(setuid(nobody), 0);
    // As after an exec, which is how a user's process begins.
    ASSERT_EQ(prctl(PR_SET_DUMPABLE, 1), 0);
}

int connect_to_mapper(Over over)
{
    const sockaddr_in inet = velt::test::at(PMAPPORT);
    sockaddr_un local{};
    local.sun_family = AF_UNIX;
    std::strcpy(local.sun_path, _PATH_RPCBINDSOCK);
    const bool is_local = over == Over::local;
    const auto *address = is_local ? reinterpret_cast<const sockaddr *>(&local)
                                   : reinterpret_cast<const sockaddr *>(&inet);
    const int fd = socket(address->sa_family, over == Over::udp ? SOCK_DGRAM : SOCK_STREAM, 0);
    EXPECT_EQ(connect(fd, address, is_local ? sizeof local : sizeof inet), 0)
        << std::strerror(errno);
    return fd;
}

Client mapper_client(Over over, rpcvers_t mapper_version, rpcprog_t mapper_program)
{
    sockaddr_in address = velt::test::at(PMAPPORT);
    if (over == Over::udp) {
        int fd = RPC_ANYSOCK;
        return Client(clntudp_create(&address, mapper_program, mapper_version, timeval{1, 0}, &fd));
    }
    const int fd = connect_to_mapper(over);
    netbuf to{sizeof address, sizeof address, &address};
    Client client(clnt_vc_create(fd, &to, mapper_program, mapper_version, 0, 0));
    clnt_control(client.get(), CLSET_FD_CLOSE, nullptr);
    return client;
}

unsigned port_of(rpcprog_t number, unsigned protocol, rpcvers_t at_version)
{
    sockaddr_in address = velt::test::at(PMAPPORT);
    return pmap_getport(&address, number, at_version, protocol);
}

} // namespace velt::host::test
