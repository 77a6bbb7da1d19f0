// Fetching strings, with references to arguments.
#include <cstring>

#include "support/resource_files.h"

namespace
{

struct Expansion : Resources {
    std::string expand(const std::string &text, IntT size, const char *types, ...)
    {
        EXPECT_EQ(load(sre({{1, text}, {2, "[%0]"}, {3, std::string(40, 'r')}})), 0);
        std::string buf(static_cast<std::size_t>(size) + 1, '#');
        va_list arguments;
        va_start(arguments, types);
        EXPECT_EQ(V_SrGetVF(1, buf.data(), size, types, arguments), 0);
        va_end(arguments);
        EXPECT_EQ(buf.back(), '#') << "written beyond the buffer";
        return buf.substr(0, buf.find('\0'));
    }
};

} // namespace

TEST_F(Expansion, References)
{
    EXPECT_EQ(expand("%1 has %0 items (%%)", 100, "ds", 42, "abc"), "abc has 42 items (%)");
    EXPECT_EQ(expand("%{1}0 %{0 the count}%{}", 100, "ds", 42, "abc"), "abc0 42");
    EXPECT_EQ(expand("%7 %{q} %{", 100, "ds", 42, "abc"), "??? ??? ???");
    EXPECT_EQ(expand("%{0", 100, "d", 42), "42");
    EXPECT_EQ(expand("%{%} %{}}", 100, ""), "??? }");
    EXPECT_EQ(expand("100 % of %u%", 100, nullptr), "100 % of usenglish%");
    EXPECT_EQ(expand("%q%%%%0", 100, "s", "x"), "%q%%0");
    EXPECT_EQ(expand("%0", 100, "s", nullptr), "");
    EXPECT_EQ(expand("%0", 100, "s", "%0 %u"), "%0 %u"); // what is inserted is not expanded
    EXPECT_EQ(expand("", 100, ""), "");
}

TEST_F(Expansion, ArgumentLetters)
{
    EXPECT_EQ(expand("%0 %1 %2 %3 %4", 100, "dxXfd", -5, 0xBEEF, -1, 2.5, 7),
              "-5 beef FFFFFFFF 2.500 7");
    EXPECT_EQ(expand("[%0] %1", 100, "pd", nullptr, 3), "[] 3");
    EXPECT_EQ(expand("%0 %1", 100, "d?d", 1, 2), "1 ???"); // an unknown letter ends them
    EXPECT_EQ(expand("%0 %1", 100, "rr", 2, 99), "[???] ???");
    EXPECT_EQ(expand("%0", 400, "f", -1.7976931348623157e308).size(), 314u);
    EXPECT_EQ(expand("%9%{9}", 100, "ddddddddddd", 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10), "99");
}

TEST_F(Expansion, RoomIsKeptForWhatFollows)
{
    const char *const long_name = "abcdefghijklmnopqrstuvwxyz";
    EXPECT_EQ(expand("%0 deleted.", 20, "s", long_name), "abc...xyz deleted.");
    EXPECT_EQ(expand("%{0} deleted.", 20, "s", long_name), "abc...xyz deleted.");
    EXPECT_EQ(expand("%0", 12, "s", "0123456789"), "0123456789");
    EXPECT_EQ(expand("%0", 11, "s", "0123456789"), "012...789");
    EXPECT_EQ(expand("%0", 7, "s", "0123456789"), "0...9");
    EXPECT_EQ(expand("%0", 6, "s", "0123456789"), "0123"); // too small for dots
    EXPECT_EQ(expand("%0", 3, "s", "0123456789"), "0");
    // References to come count as they are written.
    EXPECT_EQ(expand("%0%1", 12, "ss", "0123456789", "xy"), "01...789xy");
    // Another string is inserted as far as it fits, whatever follows.
    EXPECT_EQ(expand("%0 after", 20, "r", 3), std::string(19, 'r'));
}

TEST_F(Expansion, SmallBuffers)
{
    const std::string text = "%0 a %% %{1} %u %9 z";
    for (IntT size = 1; size < 80; ++size)
        EXPECT_LT(expand(text, size, "sr", "0123456789", 3).size(), std::size_t(size));
    EXPECT_EQ(expand("Bye %0", 6, ""), "Bye "); // the template itself is cut: no room for its "%"
    char buf[4] = "abc";
    EXPECT_EQ(V_SrGetN(1, buf, 0), -1);
    EXPECT_EQ(V_SrGetN(1, buf, -1), -1);
    EXPECT_STREQ(buf, "abc");
    EXPECT_EQ(V_SrGetN(1, nullptr, 4), -1);
    EXPECT_EQ(V_SrGetN(99, buf, 3), -1);
    EXPECT_STREQ(buf, "??");
}

TEST_F(Expansion, Copies)
{
    ASSERT_EQ(load(sre({{1, std::string(600, 'x')}, {2, "short"}})), 0);
    for (const auto &[id, text] : {std::pair{1, std::string(511, 'x')}, {2, "short"}, {3, "???"}}) {
        const StringT copy = V_SrCopy(id);
        EXPECT_EQ(copy, text);
        V_Free(copy);
    }
}
