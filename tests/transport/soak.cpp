// Many calls and callbacks, nested ones among them: neither memory nor descriptors may grow.

#include "host/hosted_clients.h"

namespace velt::host
{
namespace
{

long resident_pages(pid_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/statm");
    long all = 0, resident = 0;
    file >> all >> resident;
    return resident;
}

auto descriptors(pid_t process)
{
    const std::filesystem::directory_iterator all("/proc/" + std::to_string(process) + "/fd");
    return std::distance(begin(all), end(all));
}

// The client makes `calls` calls in a callback, and shows a modal dialog, during which the host
// calls it back, in every tenth.
using Soak = HostedClients;
TEST_F(Soak, NothingGrows)
{
    setenv("SOAK", "", 1);
    host.options().turn_limit = host.options().patience = 1h; // however long it takes
    Client &client = start("", false, 1);
    constexpr IntT calls = 100'000, callbacks = 10'000;
    const auto round = [&](IntT of_calls, IntT of_callbacks) {
        ASSERT_TRUE(host.command(client, of_calls));
        for (IntT i = 0; i < of_callbacks; i += 2) {
            // Within each a second one comes, in a modal wait.
            ASSERT_TRUE(host.notify(client, 1, 0, "", 0));
        }
    };
    round(calls / 10, callbacks / 10);
    const long own_before = resident_pages(getpid()), before = resident_pages(client.pid);
    const auto own_open = descriptors(getpid()), open = descriptors(client.pid);
    round(calls - calls / 10, callbacks - callbacks / 10);
    EXPECT_LE(resident_pages(client.pid) - before, 64);
    EXPECT_LE(resident_pages(getpid()) - own_before, 256);
    EXPECT_EQ(descriptors(client.pid), open);
    EXPECT_EQ(descriptors(getpid()), own_open);
    EXPECT_TRUE(console.reports.empty()) << console.reports[0];
}

} // namespace
} // namespace velt::host
