// The Unicode tables as the library reads them, beside iconv.

#include "velt/vde/encodings.h"
#include "velt/vde/memory.h"
#include "velt/vde/unicode.h"

#include <gtest/gtest.h>

#include <iconv.h>

#include <string>
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

// What iconv makes of all of a text, as UTF-8; "" when it does not take all of it.
std::string iconved(iconv_t cd, std::string text)
{
    char result[16];
    char *in = text.data(), *out = result;
    std::size_t in_left = text.size(), out_left = sizeof result;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    if (iconv(cd, &in, &in_left, &out, &out_left) != 0)
        return "";
    return {result, out};
}

// The yen sign and the overline that iconv has in the place of two ASCII characters are these.
std::string in_host_text(std::string text)
{
    for (const auto &[theirs, ours] : {std::pair("\u00A5", "\\"), std::pair("\u203E", "~")})
        if (const std::size_t at = text.find(theirs); at != text.npos)
            text.replace(at, std::string_view(theirs).size(), ours);
    return text;
}

std::string converted(const std::string &text, UIntT encoding)
{
    char *const result = V_StrConvertEnc(text.c_str(), encoding, VdeEncUtf8);
    const std::string copy = result != nullptr ? result : "";
    V_Free(result);
    return copy;
}

} // namespace

TEST(Tables, SayWhatIconvSays)
{
    V_FdeInitUnicode(VELT_UNICODE_HOME);
    for (const Table &table : tables) {
        const iconv_t cd = iconv_open("UTF-8", table.charset);
        ASSERT_NE(cd, iconv_t(-1)) << table.charset;
        int count = 0, different = 0;
        const auto compare = [&](const std::string &code) {
            const std::string expected = iconved(cd, code);
            count += code.size() == 2 && !expected.empty();
            const bool compared = code.size() == 1 || !expected.empty();
            if (compared && converted(code, table.encoding) != in_host_text(expected) &&
                ++different < 5)
                ADD_FAILURE() << table.charset << ' ' << testing::PrintToString(code);
        };
        for (unsigned first = 0x20; first < 0x100; ++first) {
            const std::string single{static_cast<char>(first)};
            compare(single);
            for (unsigned second = 0x40;
                 first >= table.first && first <= table.last && second < 0xFF; ++second)
                compare(single + static_cast<char>(second));
        }
        iconv_close(cd);
        EXPECT_EQ(different, 0);
        EXPECT_GE(count, table.least) << table.charset;
    }
}
