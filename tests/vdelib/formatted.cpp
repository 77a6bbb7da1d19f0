#include "vdelib/support.h"

#include <cfloat>
#include <cstdio>
#include <cstring>

namespace
{

// Formats into a buffer of exactly `size` bytes.
std::string cut(IntT size, const char *format, ...)
{
    const auto buf = std::make_unique<char[]>(static_cast<size_t>(size));
    va_list arguments;
    va_start(arguments, format);
    const IntT length = VdeVSnprintf(buf.get(), size, format, arguments);
    va_end(arguments);
    EXPECT_EQ(length, static_cast<IntT>(std::strlen(buf.get()))) << format;
    return buf.get();
}

template <class... Arguments>
std::string formatted(const char *format, Arguments... arguments)
{
    return cut(50000, format, arguments...);
}

// Every combination of flags, width and precision with these conversions, against the platform.
template <class Value>
void expect_as_platform(const std::vector<const char *> &conversions,
                        const std::vector<Value> &values)
{
    for (const std::string flags : {"", "-", "0", "+", " ", "#", "-+ #0", "0000000000"}) {
        for (const std::string width : {"", "1", "12", "300"}) {
            for (const std::string precision : {"", ".", ".0", ".3", ".00280"}) {
                for (const char *conversion : conversions) {
                    std::string format = "<%";
                    format.append(flags).append(width).append(precision).append(conversion) +=
                        ">%%";
                    for (const Value value : values) {
                        char expected[2000];
                        std::snprintf(expected, sizeof expected, format.c_str(), value);
                        EXPECT_EQ(formatted(format.c_str(), value), expected) << format;
                    }
                }
            }
        }
    }
}

TEST(Formatted, ConversionsAreThePlatforms)
{
    expect_as_platform<int>({"c"}, {'A', -1, 0x141});
    expect_as_platform<int>({"d", "i", "o", "u", "x", "X", "hd", "hhu", "hx"},
                            {0, 7, -5, 65, 70000, INT32_MIN, INT32_MAX});
    expect_as_platform<double>({"f", "e", "E", "g", "G", "lf"}, {0.0, -1.5, 12345.678, DBL_MAX});
    expect_as_platform<const char *>({"s"}, {"", "text", "longer than twelve"});
    expect_as_platform<const void *>({"p"}, {nullptr, "address"});
}

TEST(Formatted, ALongIntegerIsAnInt)
{
    EXPECT_EQ(formatted("%ld %lu %lx %5li|%lld", -5, -1, 255, 42, -7), "-5 4294967295 ff    42|-7");
    EXPECT_EQ(formatted("%zu %jd %lc%ls %Lg", 1, -2, L'c', L"s", 0.5), "1 -2 cs 0.5");
    EXPECT_EQ(formatted("%4ls|%ls|%1$d|%1$-3s|%d", L"ab", nullptr, 5, "x", 6), "  ab||5|x  |6");
}

TEST(Formatted, StarsTakeTheirArguments)
{
    EXPECT_EQ(formatted("%*d|%-*s|%0*d|", 5, 42, 4, "ab", -4, 7), "   42|ab  |7   |");
    EXPECT_EQ(formatted("%.*s|%.*f|%*.*s|", 2, "abc", 1, 2.25, 4, 1, "xyz"), "ab|2.2|   x|");
    EXPECT_EQ(formatted("%.*s|%.*d|", -1, "abc", -2147483647 - 1, 5), "abc|5|");
    EXPECT_EQ(formatted("%*%%d", 3, 4), "%4");
    EXPECT_EQ(formatted("a%cb%s%3s|", 0, nullptr, nullptr), "ab   |");
}

TEST(Formatted, NothingIsTooLong)
{
    const std::string text(1000, 'x');
    EXPECT_EQ(formatted("a%sb", text.c_str()), "a" + text + "b");
    EXPECT_EQ(formatted("%.300f", 0.5), "0.5" + std::string(299, '0'));
    EXPECT_EQ(formatted(("%" + std::string(300, '0') + "5d").c_str(), 7), "00007");
    EXPECT_EQ(formatted(("%" + std::string(68, '0') + "*d").c_str(), -100, 7),
              "7" + std::string(99, ' '));
    EXPECT_EQ(formatted("%255s|%256s|", "a", "b"),
              std::string(254, ' ') + "a|" + std::string(255, ' ') + "b|");
    // A precision reads no further than it says.
    const char unterminated[3] = {'a', 'b', 'c'};
    EXPECT_EQ(formatted("%.3s", unterminated), "abc");
}

TEST(Formatted, StoresTheLengthSoFar)
{
    int32_t word = -1;
    int16_t shorts[2] = {-1, -1};
    EXPECT_EQ(formatted("abc%ln%d%hn", &word, 12345, shorts), "abc12345");
    EXPECT_EQ(word, 3);
    EXPECT_EQ(shorts[0], 8);
    EXPECT_EQ(shorts[1], -1);
}

TEST(Formatted, WhatIsNoSpecificationStandsForItselfOrEndsTheOutput)
{
    for (const char *format : {"ab%", "ab%5", "ab%-0.", "ab%ll", "ab%*", "ab%!"})
        EXPECT_EQ(formatted(format, 1, 2), "ab") << format;
    EXPECT_EQ(formatted("50%, a%d", 1), "50%, a%d");
    EXPECT_EQ(formatted("%2$d %d", 1, 2), "%2$d 2");
    EXPECT_EQ(formatted("%S s %d", 1, 2), "%S s 2");
}

TEST(Formatted, IsCutToTheBuffer)
{
    EXPECT_EQ(cut(5, "%d-%d", 123, 456), "123-");
    EXPECT_EQ(V_Sprintf(nullptr, "abc"), 0);
}

TEST(Formatted, ExhaustionKeepsWhatWasFormatted)
{
    const std::string text(1000, 'x');
    char buf[2000];
    const FailingHeap heap;
    EXPECT_EQ(V_Sprintf(buf, "a%db%sc", 1, text.c_str()), 3);
    EXPECT_STREQ(buf, "a1b");
    EXPECT_EQ(V_Sprintf(buf, "a%2147483647d|", 1), 1);
    EXPECT_EQ(V_Sprintf(buf, "a%99999999999d|", 1), 1);
}

IntT collect(void *sink, const char *bytes, IntT length)
{
    *static_cast<std::string *>(sink) +=
        "[" + std::string(bytes, static_cast<size_t>(length)) + "]";
    return 10;
}

IntT collected(std::string *pieces, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const IntT total = Vde_doprnt(collect, pieces, format, arguments);
    va_end(arguments);
    return total;
}

TEST(Formatted, TheSinkGetsPieceByPieceAndItsAnswersCount)
{
    std::string pieces;
    int32_t so_far = 0;
    EXPECT_EQ(collected(&pieces, "%dab%c%n%%", 1, 0, &so_far), 80);
    EXPECT_EQ(pieces, "[][1][ab][][][][%][]");
    EXPECT_EQ(so_far, 50);
}

IntT one_by_one(char *spec, char *out, ...)
{
    va_list arguments;
    va_start(arguments, out);
    VdeProcessWildFieldWidth(spec, &arguments);
    const IntT length =
        VdePrintToStream(out, spec, static_cast<IntT>(std::strlen(spec)), &arguments);
    VdePrintToStream(out + length, "%s", 2, &arguments);
    va_end(arguments);
    return length;
}

TEST(Formatted, TheStepsAdvanceTheList)
{
    char spec[40] = "%*.*ld";
    char out[40];
    EXPECT_EQ(one_by_one(spec, out, -6, 4, -12, "rest"), 6);
    EXPECT_STREQ(spec, "%-6.4ld");
    EXPECT_STREQ(out, "-0012 rest");
}

} // namespace
