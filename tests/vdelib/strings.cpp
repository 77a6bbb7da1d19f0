#include <array>
#include <cstdlib>
#include <cstring>

#include "support/vde.h"

namespace
{

// `call` edits dst, a heap block of exactly `size` bytes, so that a write past its end is seen.
#define EXPECT_EDIT(before, size, call, after)                                                     \
    do {                                                                                           \
        Owned<> block{static_cast<char *>(V_Alloc(size, 0))};                                      \
        StringT dst = block.get();                                                                 \
        std::memcpy(dst, before, sizeof before);                                                   \
        call;                                                                                      \
        EXPECT_STREQ(dst, after);                                                                  \
    } while (false)
#define EXPECT_WRITTEN(before, size, call, result, after)                                          \
    EXPECT_EDIT(before, size, EXPECT_EQ(call, result), after)

// What has a sibling for every encoding is held against it there, with each bound.
TEST(Strings, AreWrittenWithinTheirBound)
{
    EXPECT_WRITTEN("", 1, V_StrCpyN(dst, "abc", -1), 0, "");
    EXPECT_EQ(V_StrCopyString(nullptr), nullptr);
    EXPECT_EQ(std::string(Owned<>{V_StrNew(3)}.get(), 4), std::string(4, '\0'));
    Owned<>{static_cast<StringT>(std::memset(V_Alloc(0, 0), 'x', 1))}.reset();
    EXPECT_STREQ(Owned<>{V_StrNew(-1)}.get(), "");

    EXPECT_WRITTEN("abc", 7, V_StrCat(dst, dst), 6, "abcabc");
    EXPECT_WRITTEN("abcdef", 7, V_StrNCatN(dst, "xy", 2, 4), 3, "abc");
    EXPECT_WRITTEN("ab", 6, V_StrNCatN(dst, "123456", -1, 6), 2, "ab");
    EXPECT_WRITTEN("ab", 4, V_StrCatCharN(dst, 0x100 + 'c', 4), 3, "abc");
    EXPECT_WRITTEN("", 12, V_StrCatIntN(dst, INT32_MIN, 12), 11, "-2147483648");
}

TEST(Strings, AreEditedInPlace)
{
    EXPECT_EDIT("hel\xE9lo", 7, V_StrStrip(dst, "l\xE9"), "heo");
    EXPECT_EDIT("hello", 6, V_StrStrip(dst, nullptr), "hello");
    EXPECT_EDIT("  \ta ", 6, V_StrStripLeadingSpaces(dst), "\ta ");
    EXPECT_EDIT(" a\t  ", 6, V_StrStripTrailingSpaces(dst), " a\t");
    EXPECT_EDIT("   ", 4, V_StrStripTrailingSpaces(dst), "");
    EXPECT_EDIT("abcd", 5, V_StrReverse(dst, 3), "cbad");
    EXPECT_EDIT("abcd", 5, V_StrReverse(dst, 99), "dcba");
    V_StrStrip(nullptr, "a");
    V_StrStripLeadingSpaces(nullptr);
    V_StrStripTrailingSpaces(nullptr);
    V_StrReverse(nullptr, 2);
}

TEST(Strings, Comparisons)
{
    EXPECT_TRUE(V_StrEqual(nullptr, ""));
    EXPECT_TRUE(V_StrIEqual("Qu\x80", "qU\x8A")); // a with diaeresis
    EXPECT_TRUE(V_StrSIEqual("Table-Of Contents", "tableofcontents"));
    EXPECT_TRUE(V_StrSIEqual(" - ", nullptr));
    EXPECT_FALSE(V_StrSIEqual("a\tb", "ab"));
    EXPECT_FALSE(V_StrSIEqual("ab", "a b c"));
    EXPECT_EQ(V_StrCmpN("abc", "axx", -7), 0);
    std::vector<const char *> names{"b", "abc", "ABC", "abd"};
    std::qsort(names.data(), names.size(), sizeof names[0], V_StrQsortCmp);
    EXPECT_EQ(std::string(names[0]) + names[1] + names[2] + names[3], "ABCabcabdb");
    EXPECT_TRUE(V_StrPrefix(nullptr, nullptr));
    EXPECT_TRUE(V_StrPrefixN("file.sre", "file", 99));
    EXPECT_FALSE(V_StrSuffix("file.sre", ".SRE"));
    EXPECT_TRUE(V_StrSuffix(nullptr, ""));
    EXPECT_FALSE(V_StrSuffix(nullptr, "a"));
}

TEST(Strings, Search)
{
    const char s[] = {'a', '\xE9', 'b', '\xE9', '\0'};
    EXPECT_EQ(V_StrChr(s, 0xE9), s + 1);
    EXPECT_EQ(V_StrRChr(s, '\xE9'), s + 3);
    for (const auto find : {V_StrChr, V_StrRChr})
        EXPECT_EQ(find(s, 0), nullptr);
    const UIntT none = vdeLastEncodingId + 1; // reads as the encoding of single bytes
    EXPECT_EQ(V_StrRChrEnc(s, 0xE9, 0, none), s + 3);
    EXPECT_EQ(V_StrICmpEnc(s,
                           "a\xE9"
                           "B\xE9",
                           none),
              0);
    EXPECT_EQ(V_StrSubString("hellloo", "llo"), 3);
    EXPECT_EQ(V_StrAlphaToInt(" -12x"), -12);
    EXPECT_EQ(V_StrAlphaToInt("-2147483648"), INT32_MIN);
    for (const char *const digits : {"-", "9223372036854775807", "-99999999999999999999"})
        EXPECT_EQ(V_StrAlphaToInt(digits), std::atoi(digits)) << digits;
    EXPECT_EQ(V_StrAlphaToInt(nullptr), 0);
    EXPECT_EQ(V_StrAlphaToReal("2.5e1;"), 25.0);
}

TEST(Strings, CaseFoldsThroughTheInstalledTable)
{
    const Changed table(VdeQToLower, VdeIdentMap);
    EXPECT_FALSE(V_StrIEqual("a", "A"));
    const std::array<UCharT, 256> nothing{};
    VdeQToLower = nothing.data();
    EXPECT_EQ(V_StrICmpEnc("ab", "a", 0), 0); // and nothing is read behind the shorter
}

TEST(Languages, NumbersAndNamesCorrespond)
{
    for (IntT number = 1; number <= 24; ++number)
        EXPECT_EQ(V_LanguageNumber(V_LanguageString(number)), number);
    for (const IntT number : {0, -1, 25, INT32_MIN})
        EXPECT_EQ(V_LanguageString(number), nullptr);
    EXPECT_EQ(V_LanguageNumber("korean"), 21);
    EXPECT_EQ(V_LanguageEncoding(21), UIntT{VdeEncKscEuc});
    for (const char *none : {"Deutsch", "dutc", "", static_cast<const char *>(nullptr)})
        EXPECT_EQ(V_LanguageNumber(none), 0);
}

} // namespace
