#include <unistd.h>

#include <bit>
#include <cfenv>
#include <cfloat>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>

#include "support/vde.h"

namespace
{

// What `use` makes of the list of the arguments behind it.
template <class Use>
IntT with_list(Use use, ...)
{
    va_list arguments;
    va_start(arguments, use);
    const IntT result = use(arguments);
    va_end(arguments);
    return result;
}

// Formats into a buffer of exactly `size` bytes.
template <class... Arguments>
std::string cut(IntT size, const char *format, Arguments... arguments)
{
    const auto buf = std::make_unique<char[]>(static_cast<size_t>(size));
    const IntT length = with_list(
        [&](va_list &list) { return VdeVSnprintf(buf.get(), size, format, list); }, arguments...);
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
                    const std::string format =
                        "<%" + flags + width + precision + conversion + ">%%";
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

TEST(FormattedSweep, ConversionsAreThePlatforms)
{
    expect_as_platform<int>({"c"}, {'A', -1, 0x141});
    expect_as_platform<int>({"d", "i", "o", "u", "x", "X", "hd", "hhu", "hx"},
                            {0, 7, -5, 65, 70000, INT32_MIN, INT32_MAX});
    expect_as_platform<double>({"f", "e", "E", "g", "G", "lf"}, {0.0, -1.5, 12345.678, DBL_MAX});
    expect_as_platform<const char *>({"s"}, {"", "text", "longer than twelve"});
    expect_as_platform<const void *>({"p"}, {nullptr, "address"});
}

// Numbers of all sizes, those that end with a tie among them, however the process rounds.
TEST(Formatted, NumbersAreRoundedAsThePlatformDoes)
{
    std::mt19937_64 random;
    const auto number = [&random](int round) {
        const auto bits = static_cast<double>(random() >> random() % 64);
        return round % 3 == 0   ? std::bit_cast<double>(random())
               : round % 3 == 1 ? std::ldexp(bits, -static_cast<int>(random() % 140))
                                : bits / std::pow(10, random() % 20);
    };
    for (const int rounding : {FE_TONEAREST, FE_UPWARD, FE_TOWARDZERO, FE_TONEAREST}) {
        std::fesetround(rounding);
        for (int round = 0; round < 5000; ++round) {
            char expected[2000];
            const std::string format = "%." + std::to_string(random() % 20) + "feEgG"[random() % 5];
            const double value = number(round);
            std::snprintf(expected, sizeof expected, format.c_str(), value);
            EXPECT_EQ(formatted(format.c_str(), value), expected) << format;
        }
    }
}

TEST(Formatted, NumbersAreExactWithoutAFlag)
{
    std::feclearexcept(FE_ALL_EXCEPT);
    EXPECT_EQ(formatted("%f %g", 0.5, 1e10), "0.500000 1e+10");
    EXPECT_EQ(std::fetestexcept(FE_ALL_EXCEPT), 0);
}

// The locale is made here, since few machines have one with another point.
TEST(Formatted, TheDecimalPointIsTheLocales)
{
    const std::string place = testing::TempDir() + "formatted-locales" + std::to_string(getpid());
    std::filesystem::create_directory(place);
    const std::string make = "localedef -c -i de_DE -f UTF-8 " + place + "/de >/dev/null 2>&1";
    const bool made = std::system(make.c_str()) == 0 && setenv("LOCPATH", place.c_str(), 1) == 0 &&
                      std::setlocale(LC_NUMERIC, "de");
    const std::string text = formatted("%f %.2e %g", 0.5, 25.0, 1.5);
    std::setlocale(LC_NUMERIC, "C");
    unsetenv("LOCPATH");
    std::filesystem::remove_all(place);
    ASSERT_TRUE(made) << make;
    EXPECT_EQ(text, "0,500000 2,50e+01 1,5");
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

TEST(Formatted, IsCutToTheBufferAndWhereMemoryEnds)
{
    EXPECT_EQ(cut(5, "%d-%d", 123, 456), "123-");
    EXPECT_EQ(V_Sprintf(nullptr, "abc"), 0);
    const std::string text(1000, 'x');
    char buf[2000];
    const FailingHeap heap;
    EXPECT_EQ(V_Sprintf(buf, "a%db%sc", 1, text.c_str()), 3);
    EXPECT_STREQ(buf, "a1b");
    EXPECT_EQ(V_Sprintf(buf, "a%2147483647d|", 1), 1);
    EXPECT_EQ(V_Sprintf(buf, "a%99999999999d|", 1), 1);
}

TEST(Formatted, TheSinkGetsPieceByPieceAndItsAnswersCount)
{
    std::string pieces;
    const auto sink = [](void *to, const char *bytes, IntT length) {
        *static_cast<std::string *>(to) += "[" + std::string(bytes, bytes + length) + "]";
        return IntT{10};
    };
    int32_t so_far = 0;
    const auto print = [&](va_list &list) { return Vde_doprnt(sink, &pieces, "%dab%c%n%%", list); };
    EXPECT_EQ(with_list(print, 1, 0, &so_far), 80);
    EXPECT_EQ(pieces, "[][1][ab][][][][%][]");
    EXPECT_EQ(so_far, 50);
}

TEST(Formatted, TheStepsAdvanceTheList)
{
    char spec[40] = "%*.*ld";
    char out[40];
    const auto print = [&](va_list &list) {
        VdeProcessWildFieldWidth(spec, &list);
        const IntT length =
            VdePrintToStream(out, spec, static_cast<IntT>(std::strlen(spec)), &list);
        VdePrintToStream(out + length, "%s", 2, &list);
        return length;
    };
    EXPECT_EQ(with_list(print, -6, 4, -12, "rest"), 6);
    EXPECT_STREQ(spec, "%-6.4ld");
    EXPECT_STREQ(out, "-0012 rest");
}

} // namespace
