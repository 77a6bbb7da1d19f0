// The session's own port mapper, told and asked by the library as clients do.

#include <rpc/rpc.h>
#include <rpc/pmap_prot.h>
#include <unistd.h>

#include <cstdlib>

#include "apilib/wire/routines.h"
#include "support/mapper_process.h"
#include "support/service_process.h"
#include "velt/api.h"

namespace velt::host
{
namespace
{

using velt::test::Client;
using velt::test::MapperProcess;

constexpr rpcprog_t program = 0x20000042;
constexpr rpcvers_t version = 3;

in_port_t port_of(rpcprog_t number, unsigned protocol = IPPROTO_TCP, rpcvers_t at = version)
{
    return mapper_find(on_loopback(), number, at, protocol, {60, 0});
}

TEST(SessionPortMapper, ARegistrationStaysUntilItIsRemoved)
{
    const MapperProcess mapper;
    EXPECT_TRUE(mapper_set(program, version, IPPROTO_TCP, 40000));
    EXPECT_TRUE(mapper_set(program, version, IPPROTO_TCP, 40000)) << "the same again";
    EXPECT_FALSE(mapper_set(program, version, IPPROTO_TCP, 40001));
    EXPECT_TRUE(mapper_set(program, version, IPPROTO_UDP, 40003));
    EXPECT_TRUE(mapper_set(program, version + 1, IPPROTO_TCP, 40002));
    EXPECT_EQ(port_of(program), 40000);
    EXPECT_EQ(port_of(program, IPPROTO_UDP), 40003);
    EXPECT_EQ(port_of(program, IPPROTO_TCP, version + 1), 40002);
    EXPECT_EQ(port_of(program, IPPROTO_UDP, version + 1), 40003) << "that of another version";
    EXPECT_EQ(port_of(program + 1), 0);
    EXPECT_EQ(rpc_createerr.cf_stat, RPC_PROGNOTREGISTERED);
    EXPECT_TRUE(mapper_unset(program, version)) << "with both protocols";
    EXPECT_FALSE(mapper_unset(program, version));
    EXPECT_EQ(port_of(program), 40002);
    EXPECT_EQ(port_of(program, IPPROTO_UDP), 0);
    EXPECT_TRUE(mapper_set(program, version, IPPROTO_TCP, 40001));
}

TEST(SessionPortMapper, IsConnectedToAgainWhenAKeptConnectionHasEnded)
{
    const KeptMapper kept;
    {
        const MapperProcess first;
        EXPECT_TRUE(mapper_set(program, version, IPPROTO_TCP, 40000));
    }
    const MapperProcess second;
    EXPECT_TRUE(mapper_set(program, version, IPPROTO_TCP, 40001));
    EXPECT_EQ(port_of(program), 40001);
}

// The first removal is not waited for, but comes before what follows.
TEST(SessionPortMapper, IsToldInOrderThroughAKeptConnection)
{
    const MapperProcess mapper;
    EXPECT_TRUE(mapper_set(program, version, IPPROTO_TCP, 40000));
    const KeptMapper kept;
    EXPECT_TRUE(mapper_unset(program, version));
    EXPECT_TRUE(mapper_set(program, version, IPPROTO_TCP, 40001));
    EXPECT_EQ(port_of(program), 40001);
    EXPECT_TRUE(mapper_unset(program, version));
    EXPECT_FALSE(mapper_unset(program, version));
}

// The library asks this machine's for what is on this machine, and no other.
TEST(SessionPortMapper, IsOfThisMachine)
{
    const MapperProcess mapper;
    EXPECT_TRUE(mapper_set(program, version, IPPROTO_TCP, 40000));
    sockaddr_in elsewhere = on_loopback();
    elsewhere.sin_addr.s_addr = htonl(INADDR_LOOPBACK + 1);
    EXPECT_EQ(mapper_find(elsewhere, program, version, IPPROTO_TCP, {60, 0}), 0);
    V_ApiSetLimit(V_limit_connect_seconds, 1);
    for (const char *nowhere : {"1", "0", "65536", "-1", "port", "111x"}) {
        setenv("VQPMAP", nowhere, 1);
        EXPECT_TRUE(session_has_mapper());
        EXPECT_FALSE(mapper_set(program, version, IPPROTO_TCP, 40000)) << nowhere;
        EXPECT_EQ(port_of(program), 0) << nowhere;
    }
    V_ApiSetLimit(V_limit_connect_seconds, 60);
    setenv("VQPMAP", "", 1);
    EXPECT_FALSE(session_has_mapper());
}

TEST(SessionPortMapper, RefusesWhatItCannotServe)
{
    const MapperProcess mapper;
    const auto call = [&](rpcprog_t to, rpcvers_t at, rpcproc_t procedure,
                          pmap argument = {program, version, IPPROTO_TCP, 1}) {
        const Client client(transport_connect(on_loopback(mapper.port), to, at, {60, 0}));
        u_int result = 0;
        const auto encode =
            argument.pm_prog == 0 ? routine<void>() : reinterpret_cast<xdrproc_t>(xdr_pmap);
        const auto decode = procedure == NULLPROC ? routine<void>() : routine<UIntT>();
        const clnt_stat status = clnt_call(client.get(), procedure, encode, &argument, decode,
                                           &result, (timeval{60, 0}));
        return status == RPC_SUCCESS ? static_cast<int>(result) : -static_cast<int>(status);
    };
    EXPECT_EQ(call(PMAPPROG, PMAPVERS, PMAPPROC_NULL), 0);
    EXPECT_EQ(call(PMAPPROG, PMAPVERS, PMAPPROC_CALLIT), -RPC_PROCUNAVAIL);
    EXPECT_EQ(call(PMAPPROG, PMAPVERS + 1, PMAPPROC_NULL), -RPC_PROGVERSMISMATCH);
    EXPECT_EQ(call(PMAPPROG + 1, PMAPVERS, PMAPPROC_NULL), -RPC_PROGUNAVAIL);
    for (u_long procedure : {PMAPPROC_SET, PMAPPROC_UNSET, PMAPPROC_GETPORT})
        EXPECT_EQ(call(PMAPPROG, PMAPVERS, static_cast<rpcproc_t>(procedure), {}),
                  -RPC_CANTDECODEARGS);
    EXPECT_EQ(call(PMAPPROG, PMAPVERS, PMAPPROC_SET, {program, version, IPPROTO_TCP, 0}), 0);
    EXPECT_EQ(call(PMAPPROG, PMAPVERS, PMAPPROC_SET, {program, version, IPPROTO_TCP, 65536}), 0);
    EXPECT_EQ(call(PMAPPROG, PMAPVERS, PMAPPROC_SET, {program, version, 47, 1}), 0);
    EXPECT_EQ(call(PMAPPROG, PMAPVERS, PMAPPROC_SET), 1);
}

TEST(SessionPortMapper, IsNotWaitedForWithoutBound)
{
    const auto [silent, port] = velt::test::socket_on_loopback();
    setenv("VQPMAP", std::to_string(port).c_str(), 1);
    V_ApiSetLimit(V_limit_connect_seconds, 1);
    EXPECT_FALSE(mapper_set(program, version, IPPROTO_TCP, 40000));
    EXPECT_FALSE(mapper_unset(program, version));
    EXPECT_EQ(port_of(program), 0);
    V_ApiSetLimit(V_limit_connect_seconds, 60);
    close(silent);
    unsetenv("VQPMAP");
}

TEST(SessionPortMapper, KeepsSoManyRegistrations)
{
    SessionPortMapper mapper;
    UIntT taken = 0;
    while (taken < 100'000 && mapper.set({program + taken, version, IPPROTO_TCP, 1}))
        ++taken;
    EXPECT_GE(taken, 1000U);
    EXPECT_LT(taken, 100'000U);
    EXPECT_TRUE(mapper.unset(program, version));
    EXPECT_TRUE(mapper.set({program + taken, version, IPPROTO_TCP, 1}));
}

} // namespace
} // namespace velt::host
