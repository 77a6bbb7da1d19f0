#include <wctype.h>

#include <cctype>
#include <clocale>
#include <cstring>

#include "support/vde.h"

namespace
{

TEST(Quire, PropertiesAreThoseOfTheirCharacters)
{
    for (int ch = 0; ch < 256; ++ch) {
        const auto has = [ch](int bit) { return (VdeCharProps[ch] & bit) != 0; };
        EXPECT_EQ(has(VdeCharUpper), VdeQToLower[ch] != ch) << ch;
        EXPECT_EQ(has(VdeCharLower), VdeQToUpper[ch] != ch || ch == 0xA7) << ch; // sharp s
        EXPECT_EQ(has(VdeCharLetter), has(VdeCharUpper | VdeCharLower)) << ch;
        if (ch < 0x20 || ch >= 0x7F)
            continue;
        EXPECT_EQ(has(VdeCharDigit), std::isdigit(ch) != 0) << ch;
        EXPECT_EQ(has(VdeCharHexDigit), std::isxdigit(ch) != 0) << ch;
        EXPECT_EQ(has(VdeCharWord), std::isalnum(ch) || ch == '_') << ch;
        EXPECT_EQ(has(VdeCharUnbroken), std::isalnum(ch) != 0) << ch;
        EXPECT_EQ(has(VdeCharConsonant), std::isalpha(ch) && !std::strchr("AEIOUaeiou", ch)) << ch;
    }
    const std::pair<int, int> whole[] = {
        {0x00, 0x2000}, {0x01, 0x1000}, {0x05, 0x1100}, {0x07, 0x0000}, {0x08, 0x2041},
        {0x09, 0x2241}, {0x0B, 0x2241}, {0x0C, 0x0000}, {0x10, 0x2040}, {0x14, 0x2040},
        {0x15, 0x0800}, {0x1B, 0x0100}, {' ', 0x20C0},  {'!', 0x0400},  {'"', 0xA000},
        {'>', 0x8000},  {'[', 0xA000},  {0x8D, 0x490C}, {0xC7, 0x8000}, {0xD2, 0xA000},
        {0xD3, 0x8000}, {0xE3, 0x8000}, {0xFF, 0x0000}};
    for (const auto &[ch, properties] : whole)
        EXPECT_EQ(VdeCharProps[ch], properties) << ch;
}

TEST(Quire, CaseIsThatOfUnicode)
{
    const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    std::map<wint_t, int> codes;
    for (int ch = 0x20; ch < 256; ++ch)
        codes.emplace(VdeVeltRomanToUnicodeConversionTable[ch], ch);
    for (int ch = 0x20; ch < 256; ++ch) {
        const wint_t point = VdeVeltRomanToUnicodeConversionTable[ch];
        // With a character that Quire has; the dotless i stays.
        const auto paired = [&](wint_t other) {
            return other != point && ch != 0xF5 && codes.contains(other) ? codes[other] : ch;
        };
        EXPECT_EQ(VdeQToUpper[ch], paired(towupper_l(point, unicode))) << ch;
        EXPECT_EQ(VdeQToLower[ch], paired(towlower_l(point, unicode))) << ch;
        if (VdeQToUpper[ch] != ch) {
            EXPECT_EQ(VdeQuireToAscii(VdeQToUpper[ch]), std::toupper(VdeQuireToAscii(ch))) << ch;
        }
    }
    freelocale(unicode);
}

TEST(Quire, OtherSetsAndBack)
{
    const std::string others = "'`\xA1\xDA\xDE\xDF\xFF";
    for (int ch = 0x20; ch < 256; ++ch)
        if (others.find(static_cast<char>(ch)) == others.npos) {
            EXPECT_EQ(VdeAnsiToQuire(VdeQuireToAnsi(ch)), ch);
        }
    EXPECT_EQ(VdeIsoLatin1ToQuire('\xA0' - 0x100), 0x11); // the low byte counts
    EXPECT_EQ(VdeQuireToIsoLatin1(0x11), ' ');
    EXPECT_EQ(VdeIsoLatin1ToQuire(0xDD), 'Y'); // which Quire has not
    EXPECT_EQ(VdeAnsiToQuire('\''), 0xD5);
    EXPECT_EQ(VdeAnsiToQuire('`'), 0xD4);
    const Changed table(VdeAnToQMap, VdeIdentMap);
    EXPECT_EQ(VdeAnsiToQuire('`'), '`');
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
