// What holds with our port mapper as with the real rpcbind, in the words of the RPC library.
#include "portmap/in_place.h"
#include "transport/service_process.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netconfig.h>
#include <poll.h>
#include <rpc/rpcb_clnt.h>
#include <rpc/rpcb_prot.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstring>

namespace velt::host::test
{
namespace
{

using Programs = std::vector<RegisteredProgram>;

class Mapper : public testing::TestWithParam<const char *>
{
protected:
    void SetUp() override
    {
        options_.rpcbind_program = GetParam();
        if (!options_.rpcbind_program.empty() && geteuid() != 0)
            GTEST_SKIP() << "rpcbind changes its user, for which it needs root";
    }

    void run(const std::function<void()> &body) const { in_place(options_, body); }

    PlaceOptions options_;
};

std::string mapper_name(const testing::TestParamInfo<const char *> &mapper)
{
    return *mapper.param ? "rpcbind" : "ours";
}

INSTANTIATE_TEST_SUITE_P(, Mapper, testing::Values("", real_rpcbind), mapper_name);

// Each looks the other up with the port mapper; the tool of the RPC library does so, too.
TEST_P(Mapper, our_transport_and_the_rpc_librarys_find_each_other)
{
    using namespace velt::test;
    run([] {
        const auto found = [](CLIENT *client) {
            for (const std::string &text : {std::string("found"), std::string(8'000'000, 'a')}) {
                std::string answer;
                EXPECT_TRUE(client && call_echo(client, text, &answer) == RPC_SUCCESS);
                EXPECT_TRUE(answer == text);
            }
        };
        {
            const ServiceProcess ours;
            found(stock_client(0).get());
            const std::string ask = "rpcinfo -T tcp 127.0.0.1 " +
                                    std::to_string(velt::test::program) +
                                    " 1 | grep -q 'ready and waiting'";
            EXPECT_EQ(std::system(("PATH=$PATH:/usr/sbin; " + ask).c_str()), 0);
        }
        pmap_unset(velt::test::program, 1);
        setenv("VELT_STOCK", "", 0);
        const ServiceProcess theirs;
        unsetenv("VELT_STOCK");
        found(our_client(0).get());
    });
}

TEST_P(Mapper, a_registration_stays_until_it_is_removed)
{
    run([] {
        EXPECT_TRUE(pmap_set(program, version, IPPROTO_TCP, 40000));
        EXPECT_TRUE(pmap_set(program, version, IPPROTO_TCP, 40000)) << "the same again";
        EXPECT_FALSE(pmap_set(program, version, IPPROTO_TCP, 40001));
        EXPECT_TRUE(pmap_set(program, version + 1, IPPROTO_TCP, 40002));
        EXPECT_EQ(port_of(program, IPPROTO_TCP), 40000);
        EXPECT_EQ(port_of(program, IPPROTO_UDP), 0);
        EXPECT_EQ(port_of(program, IPPROTO_TCP, version + 1), 40002);
        EXPECT_NE(port_of(program, IPPROTO_TCP, version + 9), 0) << "that of another version";
        EXPECT_TRUE(pmap_unset(program, version));
        EXPECT_EQ(registered_programs(), (Programs{{program, version + 1, IPPROTO_TCP, 40002}}));
        EXPECT_TRUE(pmap_set(program, version, IPPROTO_TCP, 40001));
        EXPECT_EQ(port_of(program, IPPROTO_TCP), 40001);
    });
}

TEST_P(Mapper, addresses_and_owners_are_told_by_the_newer_versions)
{
    run([] {
        ASSERT_TRUE(pmap_set(program, version, IPPROTO_TCP, 0x1234));
        ASSERT_TRUE(pmap_set(program, version, IPPROTO_UDP, 0x4321));

        netconfig *tcp = getnetconfigent("tcp");
        netconfig *local = getnetconfigent("local");
        sockaddr_in found{};
        netbuf buffer{sizeof found, 0, &found};
        ASSERT_TRUE(rpcb_getaddr(program, version, tcp, &buffer, "127.0.0.1"));
        EXPECT_EQ(found.sin_addr.s_addr, htonl(INADDR_LOOPBACK));
        EXPECT_EQ(ntohs(found.sin_port), 0x1234);

        // By the mapper's third version, over the local socket.
        rpcblist *list = rpcb_getmaps(local, "localhost");
        std::string listed;
        for (auto *each = reinterpret_cast<rp__list *>(list); each; each = each->rpcb_next)
            if (each->rpcb_map.r_prog == program)
                listed += std::string(each->rpcb_map.r_netid) + " " + each->rpcb_map.r_addr + " " +
                          each->rpcb_map.r_owner + "\n";
        const std::string owner = geteuid() == 0 ? "superuser" : std::to_string(geteuid());
        EXPECT_EQ(listed, "tcp 0.0.0.0.18.52 " + owner + "\nudp 0.0.0.0.67.33 " + owner + "\n");
        xdr_free(reinterpret_cast<xdrproc_t>(xdr_rpcblist_ptr), &list);

        EXPECT_TRUE(rpcb_unset(program, version, tcp));
        EXPECT_EQ(registered_programs(), (Programs{{program, version, IPPROTO_UDP, 0x4321}}));
        freenetconfigent(tcp);
        freenetconfigent(local);
    });
}

bool_t code_rpcb(XDR *xdrs, rpcb *value)
{
    return xdr_rpcb(xdrs, value);
}

TEST_P(Mapper, an_address_is_that_of_the_transport_asked_over)
{
    run([] {
        ASSERT_TRUE(pmap_set(program, version, IPPROTO_TCP, 258));
        ASSERT_TRUE(pmap_set(program, version, IPPROTO_UDP, 772));
        char netid[] = "tcp";
        char none[] = "";
        const auto ask = [&](Over over, rpcproc_t procedure, rpcvers_t at_version) {
            char *address = nullptr;
            EXPECT_EQ(call(mapper_client(over, RPCBVERS4), procedure, code_rpcb,
                           rpcb{program, at_version, netid, none, none}, xdr_wrapstring, &address),
                      RPC_SUCCESS);
            const std::string result = address ? address : "(null)";
            free(address);
            return result;
        };
        EXPECT_EQ(ask(Over::tcp, RPCBPROC_GETADDR, version), "127.0.0.1.1.2");
        EXPECT_EQ(ask(Over::udp, RPCBPROC_GETADDR, version), "127.0.0.1.3.4");
        EXPECT_EQ(ask(Over::local, RPCBPROC_GETADDR, version), "");
        EXPECT_EQ(ask(Over::tcp, RPCBPROC_GETADDR, version + 1), "127.0.0.1.1.2");
        EXPECT_EQ(ask(Over::tcp, RPCBPROC_GETVERSADDR, version), "127.0.0.1.1.2");
        EXPECT_EQ(ask(Over::tcp, RPCBPROC_GETVERSADDR, version + 1), "");

        rpcb_entry_list_ptr entries = nullptr;
        EXPECT_EQ(call(mapper_client(Over::tcp, RPCBVERS4), RPCBPROC_GETADDRLIST, code_rpcb,
                       rpcb{program, version, netid, none, none}, xdr_rpcb_entry_list_ptr,
                       &entries),
                  RPC_SUCCESS);
        std::string listed;
        for (auto *each = entries; each; each = each->rpcb_entry_next)
            listed += std::string(each->rpcb_entry_map.r_nc_netid) + " " +
                      each->rpcb_entry_map.r_maddr + "; ";
        EXPECT_EQ(listed, "tcp 127.0.0.1.1.2; udp 127.0.0.1.3.4; ");
        xdr_free(reinterpret_cast<xdrproc_t>(xdr_rpcb_entry_list_ptr), &entries);
    });
}

TEST_P(Mapper, a_call_it_cannot_serve_is_refused_with_the_reason)
{
    run([] {
        for (const Over over : {Over::local, Over::tcp, Over::udp}) {
            const auto refusal = [&](rpcprog_t number, rpcvers_t at_version, rpcproc_t procedure) {
                return call(mapper_client(over, at_version, number).get(), procedure);
            };
            EXPECT_EQ(refusal(PMAPPROG, PMAPVERS, PMAPPROC_NULL), RPC_SUCCESS);
            EXPECT_EQ(refusal(PMAPPROG, RPCBVERS, NULLPROC), RPC_SUCCESS);
            EXPECT_EQ(refusal(PMAPPROG, RPCBVERS4, NULLPROC), RPC_SUCCESS);
            EXPECT_EQ(refusal(PMAPPROG, PMAPVERS, 99), RPC_PROCUNAVAIL);
            EXPECT_EQ(refusal(PMAPPROG, RPCBVERS, RPCBPROC_GETVERSADDR), RPC_PROCUNAVAIL);
            EXPECT_EQ(refusal(PMAPPROG, RPCBVERS4, 99), RPC_PROCUNAVAIL);
            EXPECT_EQ(refusal(PMAPPROG, RPCBVERS4 + 1, NULLPROC), RPC_PROGVERSMISMATCH);
            EXPECT_EQ(refusal(PMAPPROG + 1, PMAPVERS, NULLPROC), RPC_PROGUNAVAIL);
            if (over == Over::udp)
                continue; // where rpcbind reads on in what an earlier datagram left
            EXPECT_EQ(refusal(PMAPPROG, PMAPVERS, PMAPPROC_GETPORT), RPC_CANTDECODEARGS);
            EXPECT_EQ(refusal(PMAPPROG, RPCBVERS4, RPCBPROC_SET), RPC_CANTDECODEARGS);
        }
    });
}

TEST_P(Mapper, an_owner_is_guarded_from_other_users)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root, to be two users";
    run([] {
        ASSERT_TRUE(pmap_set(program, version, IPPROTO_TCP, 40000));
        Child([] {
            become_nobody();
            // Only what is left counts: rpcbind answers that it removed the rest, which is nothing.
            pmap_unset(program, version);
            for (const Over over : {Over::tcp, Over::udp}) {
                bool_t done = FALSE;
                EXPECT_EQ(call(mapper_client(over, PMAPVERS), PMAPPROC_UNSET, xdr_pmap,
                               pmap{program, version, 0, 0}, xdr_bool, &done),
                          RPC_SUCCESS);
            }
            EXPECT_TRUE(pmap_set(program + 1, version, IPPROTO_TCP, 40001));
        });
        EXPECT_EQ(port_of(program, IPPROTO_TCP), 40000);
        EXPECT_EQ(port_of(program + 1, IPPROTO_TCP), 40001);
        EXPECT_TRUE(pmap_unset(program + 1, version)) << "root may remove anyone's";
        EXPECT_EQ(registered_programs(), (Programs{{program, version, IPPROTO_TCP, 40000}}));
    });
}

TEST_P(Mapper, ends_with_the_process_that_started_it)
{
    int report[2];
    ASSERT_EQ(pipe(report), 0);
    const pid_t doomed = fork();
    if (doomed == 0) {
        const HelperProcess mapper = enter_private_place(options_);
        const int connection = connect_to_mapper(Over::local);
        if (fork() == 0) {
            // Left behind in the place, this one sees the mapper's end as that of the connection.
            pollfd watched{connection, POLLIN, 0};
            const char ended = poll(&watched, 1, 10'000) == 1 ? 'y' : 'n';
            _exit(write(report[1], &ended, 1) != 1);
        }
        raise(SIGKILL);
    }
    char ended = '?';
    EXPECT_EQ(read(report[0], &ended, 1), 1);
    EXPECT_EQ(ended, 'y');
    waitpid(doomed, nullptr, 0);
    close(report[0]);
    close(report[1]);
}

} // namespace
} // namespace velt::host::test
