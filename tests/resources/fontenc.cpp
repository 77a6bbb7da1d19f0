// Font encodings, the locale, and how the string routines see two-byte characters.
#include "velt/vde/fontenc.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace
{

const char *locale_name; // what the environment's locale is called
int locale_calls;

bool within(unsigned byte, unsigned low, unsigned high)
{
    return low <= byte && byte <= high;
}

// Whether a and b make one character; told apart from the tables under test.
bool pair(UIntT enc, unsigned a, unsigned b)
{
    switch (enc) {
    case 1:
        return (within(a, 0x81, 0x9F) || within(a, 0xE0, 0xFC)) && within(b, 0x40, 0xFC) &&
               b != 0x7F;
    case 2:
        return within(a, 0xA1, 0xFE) && within(b, 0xA1, 0xFE);
    case 3:
        return within(a, 0xA1, 0xFE) && (within(b, 0x40, 0x7E) || within(b, 0xA1, 0xFE));
    case 4:
        return within(a, 0x81, 0xFE) && within(b, 0x40, 0xFE);
    default:
        return false;
    }
}

struct FontEncodings : testing::Test {
    FontEncodings()
    {
        vdeDialogEncodingId = 0;
        V_FdeInitFontEncs(nullptr);
    }
};

} // namespace

extern "C" char *setlocale(int, const char *) noexcept
{
    ++locale_calls;
    return const_cast<char *>(locale_name);
}

TEST_F(FontEncodings, NamesAndIds)
{
    EXPECT_EQ(V_FdeInitFontEncs("jisx0208.shiftjis"), 1);
    EXPECT_EQ(V_FdeInitFontEncs("Unknown"), 1);
    EXPECT_EQ(V_FdeInitFontEncs("veltroman"), 0);
    EXPECT_STREQ(V_FontEncName(vdeGB2312_80_EUCEncodingId), "GB2312-80.EUC");
    EXPECT_EQ(V_FontEncName(5), nullptr);
    EXPECT_EQ(V_FontEncId("big5"), vdeBIG5EncodingId);
    EXPECT_EQ(V_FontEncId("unknown"), 0u);
    EXPECT_EQ(V_FontEncId(nullptr), 0u);
    EXPECT_EQ(vdeLastEncodingId, 4u);

    // A record is cleared before it is set up, and null is refused.
    VdeFontEncT record;
    std::memset(&record, 1, sizeof record);
    EXPECT_EQ(VdeInitKSC5601_1992Encoding(&record), 0);
    EXPECT_STREQ(record.name, "KSC5601-1992");
    EXPECT_EQ(record.firstByte[0xA0], 0);
    EXPECT_NE(record.firstByte[0xA1], 0);
    EXPECT_EQ(record.secondByte[0xFF], 0);
    EXPECT_EQ(VdeInitBIG5Encoding(nullptr), -1);
}

TEST_F(FontEncodings, LocaleFlags)
{
    const struct {
        const char *name, *flags; // EUC, JIS, CNS
    } locales[] = {
        {"japanese", "100"},    {"ja_JP.EUC-JP", "100"},
        {"ja_JP.JIS7", "010"},  {"ja_JP.SJIS", "000"},
        {"ja_JP.UTF-8", "100"}, {"ja", "100"},
        {"zh_TW.Big5", "001"},  {"zh_CN.GB2312", "000"},
        {"ko_KR.EUC", "000"},   {"JA_JP.eucJP", "000"},
        {"C", "000"},           {nullptr, "000"},
    };
    for (const auto &[name, flags] : locales) {
        locale_name = name;
        vdeLocaleIsEUC = vdeLocaleIsJIS = vdeLocaleIsCNS = -1;
        V_FdeInitFontEncs(nullptr);
        std::string found;
        for (IntT flag : {vdeLocaleIsEUC, vdeLocaleIsJIS, vdeLocaleIsCNS})
            found += std::to_string(flag);
        EXPECT_EQ(found, flags) << name;
    }
    // Once found out, it stays.
    locale_name = "zh_TW";
    const int calls = locale_calls;
    V_FdeInitFontEncs(nullptr);
    EXPECT_EQ(locale_calls, calls);
    EXPECT_EQ(vdeLocaleIsCNS, 0);
}

// Every pair of bytes, repeated so that a second byte may itself look like a first one, cut at
// every index.
TEST_F(FontEncodings, NoCutSplitsACharacter)
{
    long wrong_counts = 0, wrong_cuts = 0, wrong_copies = 0, wrong_tails = 0;
    for (UIntT enc = 0; enc <= vdeLastEncodingId; ++enc) {
        for (unsigned a = 1; a < 256; ++a) {
            for (unsigned b = 1; b < 256; ++b) {
                const std::array<unsigned, 5> bytes = {a, b, b, a, b};
                std::array<bool, 6> starts{}; // whether a character starts at the index
                IntT characters = 0;
                char s[6] = {};
                for (std::size_t i = 0; i < 5; ++i)
                    s[i] = static_cast<char>(bytes[i]);
                for (std::size_t i = 0; i < 5; ++characters) {
                    starts[i] = true;
                    i += i < 4 && pair(enc, bytes[i], bytes[i + 1]) ? 2 : 1;
                }
                wrong_counts += V_StrLenEnc(s, enc) != characters;
                for (IntT n = 0; n <= 5; ++n) {
                    const auto index = static_cast<std::size_t>(n);
                    const bool splits = n > 0 && n < 5 && !starts[index];
                    const std::size_t kept = index - splits;
                    char cut[6];
                    std::memcpy(cut, s, sizeof cut);
                    V_StrTruncEnc(cut, n, enc);
                    wrong_cuts += std::string(cut) != std::string(s).substr(0, kept);
                    char copy[8] = "-------";
                    wrong_copies += V_StrCpyNEnc(copy, s, n + 1, enc) != IntT(kept) ||
                                    std::strlen(copy) != kept;
                    wrong_tails += V_StrISuffixEnc(s, s + n, enc) == splits;
                }
            }
        }
    }
    EXPECT_EQ(wrong_counts, 0);
    EXPECT_EQ(wrong_cuts, 0);
    EXPECT_EQ(wrong_copies, 0);
    EXPECT_EQ(wrong_tails, 0);
}

// In Shift-JIS: あ is 82 A0, and 82 41 is one character whose second byte is an A.
TEST_F(FontEncodings, Searches)
{
    const char text[] = "\x82\x41\x42\x41\x42\x82\x41";
    EXPECT_EQ(V_StrStrEnc("\x82\x41\x42", "AB", 1), -1);
    EXPECT_EQ(V_StrStrEnc(text, "AB", 1), 3);
    EXPECT_EQ(V_StrStrEnc(text, "AB", 0), 1);
    EXPECT_EQ(V_StrStrEnc(text, "", 1), 0);
    EXPECT_EQ(V_StrStrEnc("", "", 1), -1);
    EXPECT_EQ(V_StrStrEnc(nullptr, "a", 1), -1);
    EXPECT_EQ(V_StrStrEnc("a", nullptr, 1), -1);

    EXPECT_EQ(V_StrChrEnc(text, 0x82, 0x41, 1), text);
    EXPECT_EQ(V_StrRChrEnc(text, 0x82, 0x41, 1), text + 5);
    EXPECT_EQ(V_StrChrEnc(text, 'A', 0, 1), text + 3);
    EXPECT_EQ(V_StrRChrEnc(text, 'A', 0, 1), text + 3);
    EXPECT_EQ(V_StrRChrEnc(text, 'B', 0, 1), text + 4);
    EXPECT_EQ(V_StrRChrEnc(text, 'Z', 0, 1), nullptr);
    EXPECT_EQ(V_StrChrEnc(text, 0, 0, 1), text);
    EXPECT_EQ(V_StrRChrEnc(text, 0, 0, 1), nullptr);
    EXPECT_EQ(V_StrChrEnc("", 'A', 0, 1), nullptr);
    EXPECT_EQ(V_StrRChrEnc(nullptr, 'A', 0, 1), nullptr);
    const char same[] = "aaa";
    EXPECT_EQ(V_StrRChrEnc(same, 'a', 'a', 0), same + 1);
}

TEST_F(FontEncodings, Comparisons)
{
    // Only single-byte characters fold: 82 41 and 82 61 differ, A and a do not.
    EXPECT_EQ(V_StrIEqualEnc("\x82\x41"
                             "A",
                             "\x82\x41"
                             "a",
                             1),
              1);
    EXPECT_EQ(V_StrIEqualEnc("\x82\x41", "\x82\x61", 1), 0);
    EXPECT_EQ(V_StrIEqualEnc("\x82\x41", "\x82\x61", 0), 1);
    EXPECT_EQ(V_StrIEqualEnc("\x80", "\x8A", 0), 1); // A and a with diaeresis, in the host's set
    EXPECT_EQ(V_StrIEqualEnc(nullptr, "", 1), 1);
    EXPECT_EQ(V_StrIEqualEnc("\x82\x41", "\x82\x61", 99), 1); // no such encoding: single bytes

    EXPECT_EQ(V_StrICmpEnc("\x82\xA0", "z", 1), 0x82A0 - 'z');
    EXPECT_EQ(V_StrICmpEnc("A", "b", 1), 'a' - 'b');
    EXPECT_EQ(V_StrICmpEnc("a", nullptr, 1), 'a');
    EXPECT_EQ(V_StrMCmpEnc("a", "A", 1), 'a' - 'A');
    EXPECT_EQ(V_StrMCmpEnc("\x82\xA0", "\x82\xA0", 1), 0);
    const char *pa = "abc", *pb = "ABD";
    EXPECT_LT(V_StrQsortCmpEnc(&pa, &pb, 1), 0);

    EXPECT_EQ(V_StrCmpNEnc("abA", "aba", 3, 1), 'A' - 'a');
    EXPECT_EQ(V_StrICmpNEnc("abA", "aba", 3, 1), 0);
    EXPECT_EQ(V_StrCmpNEnc("abc", "abd", 2, 1), 0);
    EXPECT_EQ(V_StrCmpNEnc("a", "b", 0, 1), 0);
    EXPECT_EQ(V_StrCmpNEnc("a", "b", -3, 1), -1);
    EXPECT_EQ(V_StrCmpNEnc("ax", "ay", -3, 1), 0);
    // A two-byte character counts 2, and is compared whole where N falls inside it.
    EXPECT_EQ(V_StrCmpNEnc("\x82\xA0x", "\x82\xA0y", 2, 1), 0);
    EXPECT_EQ(V_StrCmpNEnc("\x82\xA0x", "\x82\xA0y", 3, 1), 'x' - 'y');
    EXPECT_EQ(V_StrCmpNEnc("\x82\xA0", "\x82\xA2", 1, 1), -2);
    EXPECT_EQ(V_StrIEqualNEnc("\x82\xA0", "\x82\xA2", 1, 1), 0);
    EXPECT_EQ(V_StrIEqualNEnc("a", "b", 0, 1), 1);
    EXPECT_EQ(V_StrIEqualNEnc("ab", "AB", 99, 1), 1);

    EXPECT_EQ(V_StrIPrefixEnc("ABC", "ab", 1), 1);
    EXPECT_EQ(V_StrIPrefixEnc("A", "ab", 1), 0);
    EXPECT_EQ(V_StrIPrefixEnc(nullptr, "", 1), 1);
    EXPECT_EQ(V_StrISuffixEnc("File.SRE", ".sre", 1), 1);
    EXPECT_EQ(V_StrISuffixEnc(nullptr, nullptr, 1), 1);
    EXPECT_EQ(V_StrISuffixEnc(nullptr, "a", 1), 0);
    EXPECT_EQ(V_StrISuffixEnc("a", "ba", 1), 0);
}

TEST_F(FontEncodings, WritesWithinTheBuffer)
{
    char buf[8] = "AB";
    EXPECT_EQ(V_StrCatNEnc(buf, "\x82\xA0", 4, 1),
              2); // one byte of room: the character does not fit
    EXPECT_STREQ(buf, "AB");
    EXPECT_EQ(V_StrCatNEnc(buf, "\x82\xA0", 5, 1), 4);
    EXPECT_STREQ(buf, "AB\x82\xA0");
    EXPECT_EQ(V_StrCatNEnc(buf, "x", 3, 1), 4); // too long already: left alone
    EXPECT_EQ(V_StrCatNEnc(buf, "x", INT32_MIN, 1), 4);
    EXPECT_EQ(V_StrCatNEnc(buf, "", 8, 1), 0);
    EXPECT_EQ(V_StrCatNEnc(buf, nullptr, 8, 1), 0);
    EXPECT_EQ(V_StrCatNEnc(nullptr, "x", 8, 1), 0);

    EXPECT_EQ(V_StrNCatNEnc(buf, "x", 1, 4, 1), 3); // cut to AB, not into the character
    EXPECT_STREQ(buf, "ABx");
    EXPECT_EQ(V_StrNCatNEnc(buf, "\x82\xA0y", 1, 8, 1), 3);
    EXPECT_EQ(V_StrNCatNEnc(buf, "\x82\xA0y", 2, 8, 1), 5);
    EXPECT_EQ(V_StrNCatNEnc(buf, "z", -1, 8, 1), 5);
    EXPECT_EQ(V_StrNCatNEnc(buf, nullptr, 3, 8, 1), 5);
    EXPECT_EQ(V_StrNCatNEnc(buf, "z", 1, 0, 1), 0);
    EXPECT_STREQ(buf, "");
    EXPECT_EQ(V_StrNCatNEnc(nullptr, "z", 1, 8, 1), 0);

    EXPECT_EQ(V_StrCatDblCharNEnc(buf, 0x82, 0xA0, 8, 1), 2);
    EXPECT_EQ(V_StrCatDblCharNEnc(buf, 0x82, 0xA0, 4, 1), 2);
    EXPECT_EQ(V_StrCatDblCharNEnc(nullptr, 0x82, 0xA0, 8, 1), 0);

    EXPECT_EQ(V_StrCpyNEnc(buf, "xyz", -5, 1), 0);
    EXPECT_STREQ(buf, "");
    EXPECT_EQ(V_StrCpyNEnc(buf, nullptr, 8, 1), 0);
    EXPECT_EQ(V_StrCpyNEnc(nullptr, "x", 8, 1), 0);

    char negative[] = "abc";
    V_StrTruncEnc(negative, -1, 1);
    EXPECT_STREQ(negative, "");
    V_StrTruncEnc(nullptr, 0, 1);
}
