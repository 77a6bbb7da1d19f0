#include <set>

#include "vdelib/encconv.h"

namespace
{

TEST(TextEncodings, AreFoundByEveryName)
{
    const std::map<const char *, UIntT> ids = {
        {"utf8", 16},  {"Utf_8", 16},       {"eucjp", 7}, {"euc_kr", 12},   {"CNS-EUC", 9},
        {"EUCCNS", 9}, {"Jis7", 5},         {"gb", 10},   {"shift jis", 6}, {"big-5", 8},
        {"hz", 11},    {"iso 8859/1", 1},   {"ansi", 3},  {"us-ascii", 2},  {"macascii", 4},
        {"latin1", 0}, {"iso 8859/1 2", 0}, {"", 0},      {nullptr, 0},
    };
    for (const auto &[name, id] : ids)
        EXPECT_EQ(VdeTextEncNameToValue(name), id) << name;
    for (UIntT id = 0; id < 20; ++id) {
        for (const char *name : {VdeTextEncValueToName(id), VdeTextEncValueToMimeName(id)})
            EXPECT_EQ(VdeTextEncNameToValue(name), *name != '\0' ? id : 0);
    }
    EXPECT_STREQ(VdeTextEncValueToName(9), "CNS_EUC");
    EXPECT_STREQ(VdeTextEncValueToMimeName(9), "EUC-TW");
    EXPECT_STREQ(VdeTextEncValueToNameByType(12, 2), "KSC8_EUC");
    EXPECT_STREQ(VdeTextEncValueToName(13), "");
}

TEST(TextEncodings, LooseComparison)
{
    EXPECT_EQ(V_StrANICmp("", "__"), 0);
    EXPECT_EQ(V_StrANICmp(nullptr, "a"), -'A');
    EXPECT_EQ(V_StrANICmp("a_c", "AB"), 'C' - 'B');
    EXPECT_EQ(V_StrANICmp("\x8A", "\x80"), 0); // a capital with an accent
}

TEST(TextEncodings, FontEncodings)
{
    const UIntT texts[] = {0, 6, 12, 8, 10};
    for (UIntT font = 0; font < std::size(texts); ++font) {
        EXPECT_EQ(V_FontEncToTextEnc(font), texts[font]);
        EXPECT_EQ(V_TextEncToFontEnc(texts[font]), font);
    }
    EXPECT_EQ(V_FontEncToTextEnc(5) + V_TextEncToFontEnc(7) + V_TextEncToFontEnc(99), 0u);
}

TEST(TextEncodings, ControlCharacters)
{
    std::string text = "a\x08\x09\x0A\x10\x14\x15\x16 b";
    EXPECT_EQ(VdeVQControlToExternal(text.data()), &text[text.size()]);
    EXPECT_EQ(text, "a\t\n\n  -\x16 b");
    EXPECT_EQ(VdeExternalControlToVQ(text.data()), &text[text.size()]);
    EXPECT_EQ(text, "a\b\n\n  -\x16 b");
}

TEST(Convert, EachPairHasItsConversionOrNone)
{
    using Pair = std::pair<UIntT, UIntT>;
    std::set<Pair> pairs = {{1, 0},  {2, 0},  {3, 0},   {4, 0},   {5, 6},  {5, 7},   {6, 5},
                            {6, 7},  {7, 5},  {7, 6},   {8, 9},   {9, 8},  {10, 11}, {11, 10},
                            {0, 16}, {1, 16}, {13, 16}, {14, 16}, {15, 16}};
    for (UIntT enc = 1; enc <= 12; ++enc)
        pairs.insert({0, enc});
    for (UIntT from = 0; from <= 16; ++from) {
        for (UIntT enc = 0; enc <= 18; ++enc) {
            if (from == 0 && (enc > 16 || (enc >= 13 && enc <= 15))) {
                EXPECT_ABORT(to("a#", from, enc), "") << enc;
                continue;
            }
            EXPECT_EQ(to("a#", from, enc).has_value(), from == enc || pairs.contains({from, enc}))
                << from << ' ' << enc;
        }
    }
    EXPECT_EQ(to("abc", 99, 99), "abc");
    EXPECT_EQ(to("", 1, 1), std::nullopt);
    EXPECT_EQ(to("\x82", 6, 7), std::nullopt); // half a character
    EXPECT_ABORT(to("abc", 17, 16), "");
}

TEST(Convert, BytesThroughTheMaps)
{
    using Map = IntT (*)(IntT);
    const std::map<std::pair<UIntT, UIntT>, Map> maps = {
        {{0, 1}, VdeQuireToIsoLatin1}, {{0, 2}, VdeQuireToAscii}, {{0, 3}, VdeQuireToAnsi},
        {{0, 4}, VdeQuireToMac},       {{0, 9}, VdeQuireToAscii}, {{1, 0}, VdeIsoLatin1ToQuire},
        {{2, 0}, VdeAsciiToQuire},     {{3, 0}, VdeAnsiToQuire},  {{4, 0}, VdeMacToQuire},
    };
    for (const auto &[pair, map] : maps) {
        for (int ch = 1; ch < 256; ++ch) {
            const std::string text = "(" + bytes({ch}) + ")";
            // What has no equivalent ends the text.
            const std::string image = map(ch) == 0 ? "(" : "(" + bytes({map(ch)}) + ")";
            EXPECT_EQ(to(text, pair.first, pair.second), image) << pair.second << ' ' << ch;
        }
    }
    EXPECT_EQ(to("x\x11y", 0, 1), "x y");
    const Changed table(VdeQToAnMap, VdeIdentMap);
    EXPECT_EQ(to("\x80", 0, 3), "\x80");
}

TEST(Convert, QuireCharactersAreThoseOfTheCLibrary)
{
    // Of which Quire has none, or another, or which the other set has not.
    const std::string others = "\xA1\xB1\xB5\xCA\xD6\xDB";
    for (const auto &[enc, charset] : {std::pair(1U, "ISO-8859-1"), {3U, "CP1252"}}) {
        for (int ch = 0x80; ch < 0x100; ++ch) {
            const std::string quire = bytes({ch});
            const auto expected = iconved("MACINTOSH", charset, quire);
            if (expected && others.find(quire) == others.npos) {
                EXPECT_EQ(to(quire, 0, enc), expected) << charset << ch;
                EXPECT_EQ(to(*expected, enc, 0), quire) << charset << ch;
            }
        }
    }
}

} // namespace
