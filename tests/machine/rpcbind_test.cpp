// With the machine's port mapper, rpcbind: what we tell it is what the RPC library would, and both
// find each other by it. Run by rpcbind_test.sh.

#include <rpc/pmap_clnt.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "apilib/unix/transport/transport.h"
#include "support/service_process.h"

namespace velt::test
{
namespace
{

constexpr rpcprog_t other_program = program + 1;
constexpr rpcvers_t version = 3;

std::string output_of(const std::string &command)
{
    std::string text;
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> pipe(popen(command.c_str(), "r"),
                                                                pclose);
    std::array<char, 4096> block;
    while (pipe && std::fgets(block.data(), block.size(), pipe.get()))
        text += block.data();
    return text;
}

// What rpcbind has registered besides itself, with the owners.
std::string registered()
{
    return output_of("rpcinfo 127.0.0.1 | grep -v portmapper | tail -n +2");
}

TEST(Rpcbind, IsToldAsByTheRpcLibrary)
{
    EXPECT_TRUE(mapper_set(other_program, version, IPPROTO_TCP, 40000));
    EXPECT_TRUE(mapper_set(other_program, version, IPPROTO_UDP, 40001));
    const std::string ours = registered();
    EXPECT_NE(ours, "");
    EXPECT_FALSE(mapper_set(other_program, version, IPPROTO_TCP, 40002));
    EXPECT_TRUE(pmap_unset(other_program, version));
    EXPECT_TRUE(pmap_set(other_program, version, IPPROTO_TCP, 40000));
    EXPECT_TRUE(pmap_set(other_program, version, IPPROTO_UDP, 40001));
    EXPECT_EQ(registered(), ours);
    EXPECT_TRUE(mapper_unset(other_program, version));
    EXPECT_EQ(registered(), "");
}

// Each looks the other up with the port mapper; the tool of the RPC library does so, too.
TEST(Rpcbind, OurTransportAndTheRpcLibrarysFindEachOther)
{
    const auto found = [](CLIENT *client) {
        for (const std::string &text : {std::string("found"), std::string(8'000'000, 'a')}) {
            std::string answer;
            EXPECT_TRUE(client && call_echo(client, text, &answer) == RPC_SUCCESS);
            EXPECT_TRUE(answer == text);
        }
    };
    {
        const ServiceProcess ours;
        EXPECT_TRUE(mapper_set(program, 1, IPPROTO_TCP, ours.port()));
        found(stock_client(0).get());
        EXPECT_NE(output_of("rpcinfo -T tcp 127.0.0.1 " + std::to_string(program) + " 1")
                      .find("ready and waiting"),
                  std::string::npos);
        EXPECT_TRUE(mapper_unset(program, 1));
    }
    const ServiceProcess theirs(nullptr, 0, Library::stock);
    EXPECT_TRUE(pmap_set(program, 1, IPPROTO_TCP, theirs.port()));
    found(our_client(0).get());
    EXPECT_TRUE(pmap_unset(program, 1));
}

// As from another root directory, where it is told as by the RPC library.
TEST(Rpcbind, IsToldWithoutItsSocket)
{
    ASSERT_EQ(std::rename("/run/rpcbind.sock", "/run/elsewhere.sock"), 0);
    EXPECT_TRUE(mapper_answers({60, 0}));
    EXPECT_TRUE(mapper_set(other_program, version, IPPROTO_TCP, 40000));
    EXPECT_NE(registered().find("superuser"), std::string::npos);
    EXPECT_TRUE(mapper_unset(other_program, version));
    EXPECT_EXIT(
        _exit(setuid(65534) != 0 || mapper_set(other_program, version, IPPROTO_TCP, 40000) !=
                                        pmap_set(other_program, version, IPPROTO_TCP, 40000)),
        testing::ExitedWithCode(0), "");
    mapper_unset(other_program, version);
    ASSERT_EQ(std::rename("/run/elsewhere.sock", "/run/rpcbind.sock"), 0);
}

} // namespace
} // namespace velt::test
