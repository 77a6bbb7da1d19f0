#include <sys/mman.h>
#include <unistd.h>

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
    EXPECT_WRITTEN("", 4, V_StrCpyN(dst, "abcdef", 4), 3, "abc");
    EXPECT_WRITTEN("", 1, V_StrCpyN(dst, "abc", -1), 0, "");
    EXPECT_EDIT("x", 4, V_StrCpy(dst, "abc"), "abc");
    EXPECT_EDIT("abcdef", 7, V_StrCpy(dst, dst + 2), "cdef");
    EXPECT_EDIT("0123456789abcdefghij", 22, V_StrCpy(dst + 1, dst), "00123456789abcdefghij");
    EXPECT_EQ(V_StrCopyString(nullptr), nullptr);
    EXPECT_EQ(std::string(Owned<>{V_StrNew(3)}.get(), 4), std::string(4, '\0'));

    EXPECT_WRITTEN("abc", 6, V_StrCatN(dst, "def", 6), 5, "abcde");
    EXPECT_WRITTEN("abc", 7, V_StrCat(dst, dst), 6, "abcabc");
    EXPECT_WRITTEN("abcdef", 7, V_StrNCatN(dst, "xy", 2, 4), 3, "abc");
    EXPECT_WRITTEN("ab", 6, V_StrNCatN(dst, "123456", -1, 6), 2, "ab");
    EXPECT_WRITTEN("ab", 3, V_StrCatCharN(dst, 'c', 3), 2, "ab");
    EXPECT_WRITTEN("ab", 4, V_StrCatCharN(dst, 0x100 + 'c', 4), 3, "abc");
    EXPECT_WRITTEN("", 12, V_StrCatIntN(dst, INT32_MIN, 12), 11, "-2147483648");
    EXPECT_WRITTEN("n=", 5, V_StrCatIntN(dst, 789, 5), 4, "n=78");
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
    EXPECT_TRUE(V_StrEqualN("abcX", "abcY", 3));
    EXPECT_FALSE(V_StrEqualN("abcX", "abcY", 4));
    EXPECT_TRUE(V_StrSIEqual("Table-Of Contents", "tableofcontents"));
    EXPECT_TRUE(V_StrSIEqual(" - ", nullptr));
    EXPECT_FALSE(V_StrSIEqual("a\tb", "ab"));
    EXPECT_FALSE(V_StrSIEqual("ab", "a b c"));
    EXPECT_EQ(V_StrCmp("a\xFF", "a\x01"), 0xFE);
    EXPECT_EQ(V_StrCmpN("abc", "axx", -7), 0);
    std::vector<const char *> names{"b", "abc", "ABC", "abd"};
    std::qsort(names.data(), names.size(), sizeof names[0], V_StrQsortCmp);
    EXPECT_EQ(std::string(names[0]) + names[1] + names[2] + names[3], "ABCabcabdb");
    EXPECT_TRUE(V_StrPrefix(nullptr, nullptr));
    EXPECT_TRUE(V_StrPrefixN("file.sre", "fixed", 2));
    EXPECT_FALSE(V_StrPrefixN("file.sre", "fixed", 3));
    EXPECT_TRUE(V_StrPrefixN("file.sre", "file", 99));
    EXPECT_FALSE(V_StrSuffix("file.sre", ".SRE"));
    EXPECT_TRUE(V_StrSuffix("file.sre", ".sre"));
    EXPECT_TRUE(V_StrSuffix(nullptr, ""));
    EXPECT_FALSE(V_StrSuffix(nullptr, "a"));
    EXPECT_FALSE(V_StrSuffix("sre", "x.sre"));
}

TEST(Strings, Search)
{
    const char s[] = {'a', '\xE9', 'b', '\xE9', '\0'};
    EXPECT_EQ(V_StrChr(s, 0xE9), s + 1);
    EXPECT_EQ(V_StrRChr(s, '\xE9'), s + 3);
    for (const auto find : {V_StrChr, V_StrRChr})
        EXPECT_EQ(find(s, 0), nullptr);
    EXPECT_EQ(V_StrSubString("hellloo", "llo"), 3);
    EXPECT_EQ(V_StrAlphaToInt(" -12x"), -12);
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

// Two pages with one behind them that cannot be read.
class Pages
{
public:
    Pages() { mprotect(begin_ + 2 * size_, size_, PROT_NONE); }
    ~Pages() { munmap(begin_, 3 * size_); }
    Pages(const Pages &) = delete;
    Pages &operator=(const Pages &) = delete;

    // The text so many bytes before the end of the first or of the second page; no terminator is
    // added.
    const char *put(const std::string &text, std::size_t page, std::size_t before)
    {
        char *const at = begin_ + page * size_ - before - text.size();
        return static_cast<const char *>(std::memcpy(at, text.data(), text.size()));
    }

private:
    std::size_t size_ = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    char *begin_ = static_cast<char *>(
        mmap(nullptr, 3 * size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
};

// Wherever strings end in their pages, and wherever they differ. A count that ends with the page
// does without a terminator.
TEST(Strings, AreNotReadBehindTheirPages)
{
    V_FdeInitFontEncs(nullptr);
    const std::string end(1, '\0');
    Pages one, other;
    for (const std::size_t size : {1U, 2U, 15U, 16U, 17U, 33U, 100U, 300U}) {
        const std::string text(size, 'q');
        const auto length = static_cast<IntT>(size);
        for (std::size_t before = 0; before < 36; ++before) {
            SCOPED_TRACE(testing::Message() << size << ' ' << before);
            const std::size_t page = 1 + before % 2, at = before * 7 % size;
            std::string changed(size, 'Q');
            changed[at] = '\xE9';
            const char *const a = one.put(text + end, page, before % 5 * before);
            const char *b = other.put(changed + end, 2, before);
            EXPECT_EQ(V_StrCmp(a, b), 'q' - (at > 0 ? 'Q' : 0xE9));
            EXPECT_EQ(V_StrICmp(a, b), 'q' - VdeQToLower[0xE9]);
            EXPECT_EQ(V_StrICmpN(a, b, static_cast<IntT>(at)), 0);
            EXPECT_EQ(V_StrICmpNEnc(a, b, static_cast<IntT>(at), 1), 0);
            EXPECT_EQ(V_StrChrEnc(b, 0xE9, 0, 0), b + at);
            b = other.put(text + end, 2, before);
            EXPECT_EQ(V_StrCmp(a, b), 0);
            EXPECT_EQ(V_StrICmpEnc(a, b, 1), 0);
            EXPECT_TRUE(V_StrEqual(a, b) && V_StrIPrefix(a, b) && V_StrISuffixEnc(a, b, 1));
            EXPECT_EQ(V_StrLenEnc(b, 1), length);
            char copy[301];
            EXPECT_EQ(V_StrCpyNEnc(copy, b, length, 1), length - 1);
            EXPECT_EQ(copy, text.substr(1));
        }
        EXPECT_EQ(V_StrCmpN(one.put(text, 2, 0), other.put(text, 2, 0), length), 0);
        EXPECT_EQ(V_StrICmpN(one.put(text, 1, 0), other.put(text, 2, 0), length), 0);
        EXPECT_TRUE(V_StrEqualN(one.put(text, 2, 0), other.put(text, 1, 0), length));
    }
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
