// The Unicode tables as the library reads them, beside iconv.

#include "support/convert.h"
#include "velt/vde/unicode.h"

#include <string_view>
#include <tuple>

namespace
{

// How many characters of two bytes the sets have without doubt.
const std::tuple<UIntT, const char *, int> tables[] = {
    {VdeEncShiftJis, "SHIFT_JIS", 6879},
    {VdeEncKscEuc, "EUC-KR", 8226},
    {VdeEncBig5, "BIG5", 13461},
    {VdeEncGbEuc, "EUC-CN", 7445},
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
    for (const auto &[encoding, charset, least] : tables) {
        int count = 0;
        const auto compare = [&, enc = encoding, set = charset](const std::string &code) {
            const auto expected = iconved(set, "UTF-8", code);
            count += code.size() == 2 && expected;
            if (code.size() == 1 || expected) {
                EXPECT_EQ(to(code, enc, VdeEncUtf8).value_or(""),
                          in_host_text(expected.value_or("")))
                    << set << ' ' << testing::PrintToString(code);
            }
        };
        for (unsigned first = 0x20; first < 0x100; ++first) {
            const std::string single{static_cast<char>(first)};
            compare(single);
            for (unsigned second = 0x40; first > 0x80 && second < 0xFF; ++second)
                compare(single + static_cast<char>(second));
        }
        EXPECT_GE(count, least) << charset;
    }
}
