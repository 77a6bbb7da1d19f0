// The streams of vqconv: whatever the blocks, the library's result for the whole text.

#include "tools/vqconv/stream.h"
#include "tools/vqconv/encodings.h"

#include "velt/vde/encodings.h"

#include <gtest/gtest.h>

#include <iconv.h>

#include <random>

namespace
{

std::string streamed(Stream &stream, std::string &out, const std::string &text, std::size_t block)
{
    out.clear();
    for (std::size_t at = 0; at < text.size(); at += block)
        stream.feed(std::string_view(text).substr(at, block));
    stream.finish();
    return out;
}

struct Sample {
    UIntT id;
    const char *charset;
    const char *text; // UTF-8
};
// Two-byte characters beside each other, beside ASCII and line ends; katakana with and without
// marks; what begins escapes.
const Sample samples[] = {
    {VdeEncShiftJis, "SHIFT_JIS", "日本語ｶﾞﾊﾟｱﾞｶabc表ｿ\nﾊ漢字~x\r\nｳﾞ"},
    {VdeEncJapaneseEuc, "EUC-JP", "日本語ｶﾞﾊﾟｱﾞｶabc表ｿ\nﾊ漢字~x\r\nｳﾞ"},
    {VdeEncJis, "ISO-2022-JP", "日本語abc表\n漢字~x\r\n終"},
    {VdeEncBig5, "BIG5", "中文字abc功許\n蓋乂龤x一"},
    {VdeEncCnsEuc, "EUC-TW", "中文字abc功許\n蓋乂龤x一"},
    {VdeEncGbEuc, "EUC-CN", "中文字~abc~{~}字\n汉字~~x"},
    {VdeEncKscEuc, "EUC-KR", "한국어abc글\n자x"},
    {VdeEncHz, nullptr, "~{VPND~}a~~b~{VP\nc~{ND~}~\nd"},
    {VdeEncQuire, "MACINTOSH", "déjà vu: ça"},
};

std::string in_charset(const Sample &sample)
{
    std::string text = sample.text;
    if (sample.charset == nullptr)
        return text;
    const iconv_t cd = iconv_open(sample.charset, "UTF-8");
    std::string result(4 * text.size(), '\0');
    char *in = text.data(), *out = result.data();
    std::size_t in_left = text.size(), out_left = result.size();
    EXPECT_EQ(iconv(cd, &in, &in_left, &out, &out_left), 0u) << sample.charset;
    iconv(cd, nullptr, nullptr, &out, &out_left);
    iconv_close(cd);
    result.resize(result.size() - out_left);
    return result;
}

// Calls with all pairs of encodings that a sample converts to.
void for_each_target(const Sample &sample, auto visit)
{
    for (UIntT to = 0; to <= VdeEncLast; ++to) {
        if (!converts(sample.id, to))
            continue;
        SCOPED_TRACE(encoding_title(sample.id) + " to " + encoding_title(to));
        if (takes_table(sample.id, to))
            load_tables(VELT_UNICODE_HOME, sample.id);
        visit(to);
    }
}

} // namespace

TEST(Stream, BlocksDoNotShow)
{
    for (const Sample &sample : samples) {
        const std::string text = in_charset(sample);
        for_each_target(sample, [&](UIntT to) {
            char *const all = V_StrConvertEnc(text.c_str(), sample.id, to);
            ASSERT_NE(all, nullptr);
            const std::string whole = all;
            free(all);
            std::string out;
            // Some texts have line ends for which the target has nothing.
            Stream stream({.from = sample.id, .to = to, .skip = true},
                          [&out](std::string_view bytes) { out += bytes; });
            for (std::size_t block = 1; block <= text.size(); ++block)
                EXPECT_EQ(streamed(stream, out, text, block), whole) << "blocks of " << block;
        });
    }
}

TEST(Stream, DamageIsFoundWhereItIsInAnyBlocks)
{
    std::mt19937 random(5);
    for (const Sample &sample : samples) {
        const std::string sound = in_charset(sample);
        for_each_target(sample, [&](UIntT to) {
            for (int round = 0; round < 40; ++round) {
                std::string text = sound;
                for (int i = 0; i < 3; ++i)
                    text[random() % text.size()] = static_cast<char>(random());
                text.resize(random() % text.size() + 1);
                std::string out, first, found;
                Stream skipping({.from = sample.id, .to = to, .skip = true},
                                [&out](std::string_view bytes) { out += bytes; });
                const std::string whole = streamed(skipping, out, text, text.size());
                const auto skipped = skipping.skipped_bytes();
                EXPECT_EQ(streamed(skipping, out, text, 1 + random() % 5), whole);
                EXPECT_EQ(skipping.skipped_bytes(), 2 * skipped);

                Stream strict({.from = sample.id, .to = to},
                              [&out](std::string_view bytes) { out += bytes; });
                try {
                    EXPECT_EQ(streamed(strict, out, text, 1 + random() % 5), whole);
                } catch (const Unconvertible &error) {
                    found = error.what();
                }
                EXPECT_EQ(found, skipping.first_skipped());
            }
        });
    }
}

TEST(Stream, PlainTextKeepsItsLines)
{
    const std::string text = "a\tb\r\n\x88\x9F\n";
    load_tables(VELT_UNICODE_HOME, VdeEncShiftJis);
    std::string out;
    const auto sink = [&out](std::string_view bytes) { out += bytes; };
    Stream plain({.from = VdeEncShiftJis, .to = VdeEncUtf8, .plain = true}, sink);
    EXPECT_EQ(streamed(plain, out, text, 1), "a\tb\r\n\xE4\xBA\x9C\n");
    Stream jis({.from = VdeEncShiftJis, .to = VdeEncJis, .plain = true}, sink);
    EXPECT_EQ(streamed(jis, out, text, 1), "a\tb\r\n\x1B$B0!\x1B(J\n");
}

TEST(Stream, ZeroBytesStay)
{
    std::string out;
    Stream stream({.from = VdeEncShiftJis, .to = VdeEncJis},
                  [&out](std::string_view bytes) { out += bytes; });
    EXPECT_EQ(streamed(stream, out, std::string("a\0\x88\x9F\0\x88\x9F", 7), 2),
              std::string("a\0\x1B$B0!\x1B(J\0\x1B$B0!\x1B(J", 19));
}
