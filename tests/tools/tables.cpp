// The Unicode tables as the library reads them, beside iconv.

#include "support/convert.h"
#include "velt/vde/unicode.h"

#include <string_view>
#include <utility>

namespace
{

struct Table {
    UIntT encoding;
    const char *charset;
    unsigned first, last; // first bytes of pairs
    int least;            // how many characters the set has without doubt
};
constexpr Table tables[] = {
    {VdeEncShiftJis, "SHIFT_JIS", 0x81, 0xFC, 6879},
    {VdeEncKscEuc, "EUC-KR", 0xA1, 0xFE, 8226},
    {VdeEncBig5, "BIG5", 0xA1, 0xFE, 13461},
    {VdeEncGbEuc, "EUC-CN", 0x81, 0xFE, 7445},
};

// The yen sign and the overline that iconv has in the place of two ASCII characters are these.
std::string in_host_text(std::string text)
{
    for (const auto &[theirs, ours] : {std::pair("\u00A5", "\\"), std::pair("\u203E", "~")})
        if (const std::size_t at = text.find(theirs); at != text.npos)
            text.replace(at, std::string_view(theirs).size(), ours);
    return text;
}

} // namespace

TEST(Tables, SayWhatIconvSays)
{
    V_FdeInitUnicode(VELT_UNICODE_HOME);
    for (const Table &table : tables) {
        int count = 0;
        const auto compare = [&](const std::string &code) {
            const auto expected = iconved(table.charset, "UTF-8", code);
            count += code.size() == 2 && expected;
            if (code.size() == 1 || expected) {
                EXPECT_EQ(to(code, table.encoding, VdeEncUtf8).value_or(""),
                          in_host_text(expected.value_or("")))
                    << table.charset << ' ' << testing::PrintToString(code);
            }
        };
        for (unsigned first = 0x20; first < 0x100; ++first) {
            const std::string single{static_cast<char>(first)};
            compare(single);
            for (unsigned second = 0x40;
                 first >= table.first && first <= table.last && second < 0xFF; ++second)
                compare(single + static_cast<char>(second));
        }
        EXPECT_GE(count, table.least) << table.charset;
    }
}
