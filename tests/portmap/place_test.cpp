// The private place itself: for whom it works, what it hides, and what it says when it fails.
#include "portmap/in_place.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netdb.h>
#include <rpc/rpcb_prot.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <latch>
#include <thread>

namespace velt::host::test
{
namespace
{

namespace fs = std::filesystem;

std::string failure(const PlaceOptions &options)
{
    try {
        const HelperProcess mapper = enter_private_place(options);
    } catch (const PlaceError &error) {
        return error.what();
    }
    return "no failure";
}

void expect_in_order(const std::string &text, std::initializer_list<const char *> parts)
{
    std::size_t at = 0;
    for (const char *part : parts) {
        at = text.find(part, at);
        ASSERT_NE(at, text.npos) << "no \"" << part << "\" there in: " << text;
    }
}

TEST(Place, is_made_by_an_ordinary_user_for_a_client_on_this_machine)
{
    Child([] {
        become_nobody();
        const uid_t user = geteuid();
        ASSERT_NE(user, 0U);
        const HelperProcess mapper = enter_private_place();
        EXPECT_EQ(geteuid(), user);

        char name[256];
        ASSERT_EQ(gethostname(name, sizeof name), 0);
        EXPECT_STREQ(name, "localhost");
        const hostent *entry = gethostbyname(name);
        ASSERT_TRUE(entry);
        EXPECT_EQ(*reinterpret_cast<const in_addr_t *>(entry->h_addr), htonl(INADDR_LOOPBACK));

        EXPECT_TRUE(pmap_set(program, version, IPPROTO_TCP, 40000));
        EXPECT_EQ(port_of(program, IPPROTO_TCP), 40000);
        EXPECT_TRUE(pmap_unset(program, version));
        EXPECT_FALSE(pmap_unset(program, version)) << "it is gone";
        EXPECT_TRUE(registered_programs().empty());
    });
}

TEST(Place, hides_the_outer_port_mapper_in_whatever_state_it_is)
{
    const fs::path socket_path = _PATH_RPCBINDSOCK;
    for (const bool running : {true, false})
        for (const bool socket_exists : {true, false})
            Child([&] {
                auto outer = std::make_unique<HelperProcess>(enter_private_place());
                EXPECT_TRUE(pmap_set(program, version, IPPROTO_TCP, 40000));
                if (!running)
                    outer.reset();
                EXPECT_TRUE(socket_exists || fs::remove(socket_path));
                const HelperProcess inner = enter_private_place();
                EXPECT_EQ(port_of(program, IPPROTO_TCP), 0);
                EXPECT_TRUE(pmap_set(program, version, IPPROTO_TCP, 40001));
                EXPECT_EQ(port_of(program, IPPROTO_TCP), 40001);
                EXPECT_EQ(std::distance(fs::directory_iterator(socket_path.parent_path()), {}), 1);
            });
}

TEST(Place, keeps_the_host_name_and_the_outside_as_they_are_when_asked)
{
    char before[256];
    ASSERT_EQ(gethostname(before, sizeof before), 0);
    PlaceOptions options;
    options.host_name.clear();
    in_place(options, [&] {
        char inside[256];
        EXPECT_EQ(gethostname(inside, sizeof inside), 0);
        EXPECT_STREQ(inside, before);
        std::ofstream(fs::path(_PATH_RPCBINDSOCK).parent_path() / "velt-place-test") << "x";
    });
    in_place({}, [] {});
    char after[256];
    ASSERT_EQ(gethostname(after, sizeof after), 0);
    EXPECT_STREQ(after, before);
    EXPECT_FALSE(fs::exists(fs::path(_PATH_RPCBINDSOCK).parent_path() / "velt-place-test"));
}

TEST(Place, a_failure_names_the_step_the_reason_and_what_to_do)
{
    Child([] {
        PlaceOptions options;
        options.rpcbind_program = "/nonexistent/rpcbind";
        expect_in_order(failure(options), {"/nonexistent/rpcbind", "No such file", "Install"});
    });
    Child([] {
        std::latch end(1);
        std::jthread second([&] { end.wait(); });
        expect_in_order(failure({}), {"several threads", "before"});
        end.count_down();
    });
    if (geteuid() == 0)
        Child([] {
            // Nobody may make a user namespace in a changed root.
            ASSERT_EQ(chroot("/usr"), 0);
            become_nobody();
            expect_in_order(failure({}), {"enter namespaces", "not permitted", "user namespaces",
                                          "start rpcbind"});
            // At once: a leak checker would look for /proc.
            std::fflush(nullptr);
            std::_Exit(HasFailure());
        });
}

TEST(Place, a_missing_and_a_silent_port_mapper_are_told_from_an_answering_one_within_a_second)
{
    Child([] {
        {
            const HelperProcess mapper = enter_private_place();
            EXPECT_TRUE(rpcbind_answers());
        }
        EXPECT_FALSE(rpcbind_answers());
        EXPECT_THROW(registered_programs(), PlaceError);

        const sockaddr_in address = velt::test::at(PMAPPORT);
        const auto *generic = reinterpret_cast<const sockaddr *>(&address);
        const int datagrams = socket(AF_INET, SOCK_DGRAM, 0);
        const int stream = socket(AF_INET, SOCK_STREAM, 0);
        ASSERT_EQ(bind(datagrams, generic, sizeof address), 0);
        ASSERT_EQ(bind(stream, generic, sizeof address), 0);
        ASSERT_EQ(listen(stream, 1), 0);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_FALSE(rpcbind_answers());
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1500));
        EXPECT_THROW(registered_programs(), PlaceError);
        close(datagrams);
        close(stream);
    });
}

} // namespace
} // namespace velt::host::test
