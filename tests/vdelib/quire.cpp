#include "vdelib/support.h"

#include <cctype>
#include <cstring>
#include <set>
#include <vector>

namespace
{

using Codes = std::set<int>;

// Those of the ranges, which are pairs of first and last code.
Codes ranges(const std::vector<std::pair<int, int>> &pairs, Codes codes = {})
{
    for (const auto &[first, last] : pairs) {
        for (int ch = first; ch <= last; ++ch)
            codes.insert(ch);
    }
    return codes;
}

Codes operator+(Codes a, const Codes &b)
{
    a.insert(b.begin(), b.end());
    return a;
}

const Codes upper = ranges(
    {{'A', 'Z'}, {0x80, 0x86}, {0xAE, 0xAF}, {0xCB, 0xCE}, {0xE5, 0xEF}, {0xF1, 0xF4}}, {0xD9});
const Codes lower = ranges({{'a', 'z'}, {0x87, 0x9F}, {0xBE, 0xBF}}, {0xA7, 0xCF, 0xD8});

TEST(Quire, PropertiesAreThoseOfTheirCharacters)
{
    const Codes digits = ranges({{'0', '9'}});
    const Codes words = upper + lower + digits;
    const Codes spaces = ranges({{0x08, 0x0B}, {0x10, 0x14}}, {' '});
    Codes consonants = {0x82, 0x8D, 0xA7, 0xD8, 0xD9};
    for (int ch = 'A'; ch <= 'Z'; ++ch) {
        if (std::strchr("AEIOU", ch) == nullptr)
            consonants.insert({ch, std::tolower(ch)});
    }
    const std::vector<Codes> bits = {
        ranges({{0x08, 0x0B}}),
        upper,
        lower,
        upper + lower,
        digits,
        ranges({{'0', '9'}, {'A', 'F'}, {'a', 'f'}}),
        spaces,
        {' '},
        words + ranges({{0x04, 0x06}}, {'_', 0x1B, 0x1C}),
        ranges({{0x09, 0x0B}}),
        {'!', '.', '?'},
        words + Codes{0x15},
        ranges({{0x01, 0x06}}),
        spaces + Codes{0x00, '"', '(', '<', '[', '{', 0xD2},
        consonants,
        {'"',  '\'', '(',  ')',  '<',  '>',  '[',  ']',  '{',  '}',
         0xC7, 0xC8, 0xD2, 0xD3, 0xD4, 0xD5, 0xDC, 0xDD, 0xE2, 0xE3},
    };
    for (size_t bit = 0; bit < bits.size(); ++bit) {
        for (int ch = 0; ch < 256; ++ch)
            EXPECT_EQ(VdeCharProps[ch] >> bit & 1, bits[bit].count(ch)) << bit << ' ' << ch;
    }
}

TEST(Quire, CaseMapsPairLettersAsTheOtherSetsDo)
{
    for (int ch = 0; ch < 256; ++ch) {
        const int capital = VdeQToUpper[ch];
        EXPECT_EQ(capital != ch, lower.count(ch) != 0 && ch != 0xA7) << ch;
        EXPECT_EQ(VdeQToLower[ch] != ch, upper.count(ch) != 0) << ch;
        if (capital == ch)
            continue;
        EXPECT_EQ(VdeQToLower[capital], ch);
        EXPECT_EQ(VdeQuireToAscii(capital), std::toupper(VdeQuireToAscii(ch))) << ch;
        if (ch != 0xCF && ch != 0xD8) { // whose capitals Latin-1 lacks
            EXPECT_EQ(VdeQuireToIsoLatin1(capital), VdeQuireToIsoLatin1(ch) - 0x20) << ch;
            EXPECT_EQ(VdeQuireToAnsi(capital), VdeQuireToAnsi(ch) - 0x20) << ch;
        }
    }
}

TEST(Quire, AnsiAndBackIsTheSame)
{
    const Codes others = ranges({{0x00, 0x1F}}, {'\'', '`', 0xA1, 0xDA, 0xDE, 0xDF, 0xFF});
    for (int ch = 0; ch < 256; ++ch)
        EXPECT_TRUE(others.count(ch) != 0 || VdeAnsiToQuire(VdeQuireToAnsi(ch)) == ch) << ch;
    EXPECT_EQ(VdeAnsiToQuire('\''), 0xD5);
    EXPECT_EQ(VdeAnsiToQuire('`'), 0xD4);
}

TEST(Quire, Latin1LettersAndBackAreTheSame)
{
    const Codes lacking = {0xD0, 0xD7, 0xDD, 0xDE, 0xF0, 0xF7, 0xFD, 0xFE}; // have look-alikes
    for (int ch = 0xC0; ch < 0x100; ++ch) {
        const int quire = VdeIsoLatin1ToQuire(ch);
        if (lacking.count(ch) != 0) {
            EXPECT_LT(quire, 0x80) << ch;
        } else {
            EXPECT_EQ(VdeQuireToIsoLatin1(quire), ch) << ch;
            EXPECT_EQ(VdeAnsiToQuire(ch), quire) << ch; // ANSI has Latin-1's letters
        }
    }
    EXPECT_EQ(VdeIsoLatin1ToQuire(0xA0), 0x11);
    EXPECT_EQ(VdeQuireToIsoLatin1(0x11), 0x20);
}

TEST(Quire, AsciiIsPrintableAndKept)
{
    for (int ch = 0x20; ch < 0x7F; ++ch) {
        for (const auto map :
             {VdeQuireToAscii, VdeAsciiToQuire, VdeQuireTo7BitAscii, VdeQuireToIsoLatin1,
              VdeIsoLatin1ToQuire, VdeQuireToAnsi, VdeMacToQuire, VdeQuireToMac, VdeQuireToQuire})
            EXPECT_EQ(map(ch), ch);
    }
    for (int ch = 0x20; ch < 0xFF; ++ch)
        EXPECT_TRUE(std::isprint(VdeQuireToAscii(ch))) << ch;
    for (int ch = 0; ch < 0x20; ++ch) {
        const int quire = ch == 0x09 ? 0x08 : ch == 0x0A || ch == 0x0C || ch == 0x0D ? 0x0A : 0;
        EXPECT_EQ(VdeAsciiToQuire(ch), quire) << ch;
        EXPECT_EQ(VdeMacToQuire(ch), quire != 0 ? quire : '?') << ch;
        EXPECT_EQ(VdeQuireToMac(ch), VdeQuireToAscii(ch)) << ch;
    }
    for (int ch = 0x7F; ch < 256; ++ch) {
        EXPECT_EQ(VdeAsciiToQuire(ch), 0) << ch;
        EXPECT_EQ(VdeMacToQuire(ch), ch);
        EXPECT_EQ(VdeQuireToMac(ch), ch == 0x7F ? '?' : ch == 0x80 ? 'A' : ch);
    }
}

TEST(Quire, MapsTakeTheLowByteAndTheInstalledTable)
{
    EXPECT_EQ(VdeQuireToQuire(-1), 0xFF);
    EXPECT_EQ(VdeIsoLatin1ToQuire('\xE4' - 0x100), 0x8A);
    const UCharT *const to = std::exchange(VdeQToAnMap, VdeIdentMap);
    const UCharT *const from = std::exchange(VdeAnToQMap, VdeIdentMap);
    EXPECT_EQ(VdeQuireToAnsi(0x80), 0x80);
    EXPECT_EQ(VdeAnsiToQuire('\''), '\'');
    VdeQToAnMap = to;
    VdeAnToQMap = from;
}

TEST(Quire, HexadecimalDigits)
{
    for (int ch = 0; ch < 256; ++ch) {
        const std::string digit(1, static_cast<char>(ch));
        EXPECT_EQ(VdeHexAtoD[ch], std::isxdigit(ch) ? std::stoi(digit, nullptr, 16) : 0) << ch;
        EXPECT_EQ(VdeHexDtoA[ch], ch < 16 ? "0123456789ABCDEF"[ch] : 0) << ch;
    }
}

std::string escaped(const std::string &text)
{
    return Owned<>{VdeQuireToDbText(text.c_str())}.get();
}

std::string unescaped(const std::string &text)
{
    return Owned<>{VdeDbTextToQuire(text.c_str())}.get();
}

TEST(DatabaseText, EscapesSpecialCharacters)
{
    EXPECT_EQ(escaped("\x04\x05\x08\x09\x0A\x10\x11\x12\x13\x14\x15 \\a\x06\xE9"),
              "\\-\\_\\t\\r\\p\\#\\ \\i\\N\\M\\+\\s\\\\a\x06\xE9");
    EXPECT_EQ(unescaped("\\n\\h\\P\\x\\\\n b\\"), "\x09\x09\x0Ax\\n b");
    for (int ch = 1; ch < 256; ++ch) {
        const std::string text(3, static_cast<char>(ch));
        EXPECT_EQ(unescaped(escaped(text)), text) << ch;
    }
}

TEST(DatabaseText, IsCutToTheWorkArea)
{
    EXPECT_EQ(escaped(std::string(300, ' ')).size(), 254u);
    EXPECT_EQ(escaped(std::string(300, 'a')), std::string(254, 'a'));
    EXPECT_EQ(escaped(std::string(253, 'a') + "  "), std::string(253, 'a') + "\\s");
    EXPECT_EQ(unescaped(std::string(300, 'a')), std::string(255, 'a'));
    EXPECT_EQ(unescaped(std::string(254, 'a') + "\\sb"), std::string(254, 'a') + " ");
}

} // namespace
