// Font encodings, the locale, and how the string routines see two-byte characters.
#include "velt/vde/fontenc.h"

#include <cstring>
#include <set>

#include "velt/vde/strings.h"

namespace
{

const char *locale_name; // what the environment's locale is called
int locale_calls;

bool within(unsigned byte, unsigned low, unsigned high)
{
    return low <= byte && byte <= high;
}

// Whether a character of two bytes may stand there; told apart from the tables under test.
bool one_character(UIntT enc, const std::string &text, std::size_t at)
{
    const auto a = static_cast<UCharT>(text[at]), b = static_cast<UCharT>(text[at + 1]);
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
    EXPECT_EQ(record.secondByte[0xFF], 0);
    EXPECT_EQ(VdeInitBIG5Encoding(nullptr), -1);
}

TEST_F(FontEncodings, LocaleFlags)
{
    const std::pair<const char *, int> locales[] = {
        // EUC, JIS, CNS
        {"japanese", 100}, {"ja_JP.JIS7", 10},  {"ja_JP.SJIS", 0}, {"ja", 100},
        {"zh_TW.Big5", 1}, {"zh_CN.GB2312", 0}, {"JA_JP", 0},      {nullptr, 0},
    };
    for (const auto &[name, flags] : locales) {
        locale_name = name;
        vdeLocaleIsEUC = vdeLocaleIsJIS = vdeLocaleIsCNS = -1;
        V_FdeInitFontEncs(nullptr);
        EXPECT_EQ(100 * vdeLocaleIsEUC + 10 * vdeLocaleIsJIS + vdeLocaleIsCNS, flags) << name;
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
using FontEncodingsSweep = FontEncodings;
TEST_F(FontEncodingsSweep, NoCutSplitsACharacter)
{
    for (UIntT enc = 0; enc <= vdeLastEncodingId; ++enc) {
        for (unsigned pair = 0; pair < 255 * 255; ++pair) {
            const auto a = static_cast<char>(pair % 255 + 1), b = static_cast<char>(pair / 255 + 1);
            const std::string text = {a, b, b, a, b};
            std::set<std::size_t> starts; // of characters
            for (std::size_t i = 0; i < 5; i += i < 4 && one_character(enc, text, i) ? 2 : 1)
                starts.insert(i);
            starts.insert(5);
            ASSERT_EQ(V_StrLenEnc(text.c_str(), enc), IntT(starts.size() - 1)) << text;
            for (std::size_t n = 0; n <= 5; ++n) {
                const std::size_t kept = *std::prev(starts.upper_bound(n));
                std::string cut = text;
                V_StrTruncEnc(cut.data(), IntT(n), enc);
                ASSERT_EQ(std::strlen(cut.data()), kept) << text << ' ' << n;
                char copy[8] = "-------";
                ASSERT_EQ(V_StrCpyNEnc(copy, text.c_str(), IntT(n) + 1, enc), IntT(kept)) << text;
                ASSERT_EQ(std::strlen(copy), kept) << text;
                ASSERT_EQ(V_StrISuffixEnc(text.c_str(), text.c_str() + n, enc), kept == n) << text;
            }
        }
    }
}

// In Shift-JIS: あ is 82 A0, and 82 41 is one character whose second byte is an A.
TEST_F(FontEncodings, Searches)
{
    const char text[] = "\x82\x41\x42\x41\x42\x82\x41";
    EXPECT_EQ(V_StrStrEnc("\x82\x41\x42", "AB", 1), -1);
    EXPECT_EQ(V_StrStrEnc(text, "AB", 1), 3);
    EXPECT_EQ(V_StrChrEnc(text, 0x82, 0x41, 1), text);
    EXPECT_EQ(V_StrRChrEnc(text, 0x82, 0x41, 1), text + 5);
    EXPECT_EQ(V_StrChrEnc(text, 'A', 0, 1), text + 3);
    EXPECT_EQ(V_StrRChrEnc(text, 'A', 0, 1), text + 3);
    EXPECT_EQ(V_StrRChrEnc(text, 'B', 0, 1), text + 4);
    EXPECT_EQ(V_StrChrEnc(text, 0, 0, 1), text);
    EXPECT_EQ(V_StrRChrEnc(text, 0, 0, 1), nullptr);
    const char same[] = "aaa";
    EXPECT_EQ(V_StrRChrEnc(same, 'a', 'a', 0), same + 1);
}

TEST_F(FontEncodings, Comparisons)
{
    const std::string a = "\x82\x41", upper = a + "A", lower = a + "a"; // only single bytes fold
    EXPECT_EQ(V_StrIEqualEnc(upper.c_str(), lower.c_str(), 1), 1);
    EXPECT_EQ(V_StrIEqualEnc(a.c_str(), "\x82\x61", 1), 0);
    EXPECT_EQ(V_StrIEqualEnc(a.c_str(), "\x82\x61", 99), 1); // no such encoding: single bytes
    EXPECT_EQ(V_StrICmpEnc("\x82\xA0", "z", 1), 0x82A0 - 'z');
    EXPECT_EQ(V_StrMCmpEnc(upper.c_str(), lower.c_str(), 1), 'A' - 'a');
    // A two-byte character counts 2, and is compared whole where N falls inside it.
    EXPECT_EQ(V_StrCmpNEnc("\x82\xA0x", "\x82\xA0y", 2, 1), 0);
    EXPECT_EQ(V_StrCmpNEnc("\x82\xA0x", "\x82\xA0y", 3, 1), 'x' - 'y');
    EXPECT_EQ(V_StrCmpNEnc("\x82\xA0", "\x82\xA2", 1, 1), -2);
    EXPECT_EQ(V_StrIEqualNEnc("\x82\xA0", "\x82\xA2", 1, 1), 0);
}

TEST_F(FontEncodings, WritesWithinTheBuffer)
{
    char buf[8] = "AB";
    EXPECT_EQ(V_StrCatNEnc(buf, "\x82\xA0", 4, 1), 2); // no room for all of the character
    EXPECT_EQ(V_StrCatDblCharNEnc(buf, 0x82, 0xA0, 4, 1), 2);
    EXPECT_STREQ(buf, "AB");
    EXPECT_EQ(V_StrCatDblCharNEnc(buf, 0x82, 0xA0, 8, 1), 4);
    EXPECT_STREQ(buf, "AB\x82\xA0");
    EXPECT_EQ(V_StrNCatNEnc(buf, "x", 1, 4, 1), 3); // cut to AB, not into the character
    EXPECT_STREQ(buf, "ABx");
    EXPECT_EQ(V_StrNCatNEnc(buf, "\x82\xA0y", 1, 8, 1), 3);
    EXPECT_EQ(V_StrNCatNEnc(buf, "\x82\xA0y", 2, 8, 1), 5);
    EXPECT_STREQ(buf, "ABx\x82\xA0");
    V_StrTruncEnc(buf, -1, 1);
    EXPECT_STREQ(buf, "");
    V_StrTruncEnc(nullptr, 0, 1);
}

// In the host's own encoding each does what the routine without an encoding does.
TEST_F(FontEncodings, SingleBytesAreBytes)
{
    const char *const strings[] = {nullptr, "",    "a",   "A",        "b",        "ab",      "aB",
                                   "abA",   "aba", "bab", "\x80\x82", "\x8A\x82", "File.SRE"};
    const auto written = [](const char *dst, auto write) {
        char buf[16] = "";
        V_StrCpy(buf, dst);
        const IntT length = write(dst == nullptr ? nullptr : buf);
        return std::to_string(length) + buf;
    };
    for (const char *a : strings) {
        EXPECT_EQ(V_StrLenEnc(a, 0), V_StrLen(a));
        for (const char *b : strings) {
            SCOPED_TRACE(testing::PrintToString(a) + testing::PrintToString(b));
            EXPECT_EQ(V_StrStrEnc(a, b, 0), V_StrSubString(a, b));
            EXPECT_EQ(V_StrIEqualEnc(a, b, 0), V_StrIEqual(a, b));
            EXPECT_EQ(V_StrIPrefixEnc(a, b, 0), V_StrIPrefix(a, b));
            EXPECT_EQ(V_StrISuffixEnc(a, b, 0), V_StrISuffix(a, b));
            EXPECT_EQ(V_StrICmpEnc(a, b, 0), V_StrICmp(a, b));
            EXPECT_EQ(V_StrQsortCmpEnc(&a, &b, 0), V_StrQsortCmp(&a, &b));
            if (const int c = b == nullptr ? 0 : static_cast<UCharT>(*b); c != 0) {
                EXPECT_EQ(V_StrChrEnc(a, UCharT(c), 0, 0), V_StrChr(a, c));
                EXPECT_EQ(V_StrRChrEnc(a, UCharT(c), 0, 0), V_StrRChr(a, c));
            }
            for (const IntT N : {INT32_MIN, -3, 0, 1, 2, 3, 4, 16}) {
                SCOPED_TRACE(N);
                EXPECT_EQ(V_StrCmpNEnc(a, b, N, 0), V_StrCmpN(a, b, N));
                EXPECT_EQ(V_StrICmpNEnc(a, b, N, 0), V_StrICmpN(a, b, N));
                EXPECT_EQ(V_StrIEqualNEnc(a, b, N, 0), V_StrIEqualN(a, b, N));
                EXPECT_EQ(written(a, [=](StringT s) { return V_StrCpyNEnc(s, b, N, 0); }),
                          written(a, [=](StringT s) { return V_StrCpyN(s, b, N); }));
                EXPECT_EQ(written(a, [=](StringT s) { return V_StrNCatNEnc(s, b, 2, N, 0); }),
                          written(a, [=](StringT s) { return V_StrNCatN(s, b, 2, N); }));
                // But for the length, of which nothing is said where nothing is added.
                EXPECT_EQ(written(a, [=](StringT s) { return V_StrCatNEnc(s, b, N, 0); }),
                          written(a, [=](StringT s) {
                              const IntT length = V_StrCatN(s, b, N);
                              return V_StrLen(b) == 0 ? 0 : length;
                          }));
            }
        }
    }
}
