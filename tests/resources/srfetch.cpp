// A client's own V_SrFetch is asked first, whichever way the library is linked.
#include <cstdlib>
#include <cstring>

#include "support/resource_files.h"

IntT V_SrFetch(IntT id, StringT buf, IntT size)
{
    switch (id) {
    case 5:
        std::strncpy(buf, "own %0", static_cast<std::size_t>(size));
        return 0;
    case 6:
        std::memset(buf, 'x', static_cast<std::size_t>(size)); // not terminated
        return 0;
    case 8:
        std::memcpy(buf, "own", 3); // neither is this, but zeros follow
        return 0;
    default:
        return -1;
    }
}

TEST_F(Resources, OwnFetch)
{
    char buf[20];
    EXPECT_EQ(V_SrGetF(5, buf, sizeof buf, "d", 42), 0);
    EXPECT_STREQ(buf, "own 42");
    EXPECT_EQ(V_SrGetN(6, buf, sizeof buf), 0);
    EXPECT_EQ(buf, std::string(19, 'x'));
    std::free(std::memset(std::malloc(sizeof buf), 'x', sizeof buf));
    EXPECT_EQ(V_SrGetN(8, buf, sizeof buf), 0);
    EXPECT_STREQ(buf, "own");
    ASSERT_EQ(load(sre({{5, "loaded"}, {7, "loaded, %0"}})), 0);
    EXPECT_EQ(V_SrGetF(7, buf, sizeof buf, "r", 5), 0);
    EXPECT_STREQ(buf, "loaded, own ???");
}
