// The streams of vqconv: whatever the blocks, the library's result for the whole text. And the
// Unicode tables as the library reads them, beside iconv.

#include "tools/vqconv/stream.h"

#include <random>
#include <tuple>

#include "support/convert.h"
#include "support/errors.h"
#include "tools/vqconv/encodings.h"
#include "velt/vde/unicode.h"

namespace
{

struct KeptStream {
    explicit KeptStream(const StreamOptions &options)
        : stream(options, [this](std::string_view bytes) { out += bytes; })
    {
    }
    std::string feed(const std::string &text, std::size_t block)
    {
        out.clear();
        for (std::size_t at = 0; at < text.size(); at += block)
            stream.feed(std::string_view(text).substr(at, block));
        stream.finish();
        return out;
    }

    std::string out;
    Stream stream;
};

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

void for_each_pair(auto visit)
{
    load_tables(VELT_UNICODE_HOME, VdeEncShiftJis);
    for (const Sample &sample : samples) {
        const std::string text = sample.charset == nullptr
                                     ? sample.text
                                     : iconved("UTF-8", sample.charset, sample.text).value();
        for (UIntT target = 0; target <= VdeEncLast; ++target) {
            SCOPED_TRACE(encoding_title(sample.id) + " to " + encoding_title(target));
            if (converts(sample.id, target))
                visit(text, sample.id, target);
        }
    }
}

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

TEST(Stream, BlocksDoNotShow)
{
    for_each_pair([](const std::string &text, UIntT from, UIntT target) {
        const auto whole = to(text, from, target);
        // Some texts have line ends for which the target has nothing.
        KeptStream kept({.from = from, .to = target, .skip = true});
        for (std::size_t block = 1; block <= text.size(); ++block)
            EXPECT_EQ(kept.feed(text, block), whole) << "blocks of " << block;
    });
}

TEST(StreamSweep, DamageIsFoundWhereItIsInAnyBlocks)
{
    std::mt19937 random(5);
    for_each_pair([&random](const std::string &sound, UIntT from, UIntT target) {
        for (int round = 0; round < 40; ++round) {
            std::string text = sound;
            for (int i = 0; i < 3; ++i)
                text[random() % text.size()] = static_cast<char>(random());
            text.resize(random() % text.size() + 1);
            KeptStream skipping({.from = from, .to = target, .skip = true});
            const std::string whole = skipping.feed(text, text.size());
            const auto skipped = skipping.stream.skipped_bytes();
            EXPECT_EQ(skipping.feed(text, 1 + random() % 5), whole);
            EXPECT_EQ(skipping.stream.skipped_bytes(), 2 * skipped);

            EXPECT_EQ(velt::test::error_of([&] {
                          KeptStream strict({.from = from, .to = target});
                          EXPECT_EQ(strict.feed(text, 1 + random() % 5), whole);
                      }),
                      skipping.stream.first_skipped());
        }
    });
}

TEST(Stream, PlainTextKeepsItsLinesAndZeroBytesStay)
{
    const std::string text("a\tb\r\n\x88\x9F\0\x88\x9F\n", 11);
    KeptStream plain({.from = VdeEncShiftJis, .to = VdeEncUtf8, .plain = true});
    EXPECT_EQ(plain.feed(text, 1), std::string("a\tb\r\n\xE4\xBA\x9C\0\xE4\xBA\x9C\n", 13));
    KeptStream jis({.from = VdeEncShiftJis, .to = VdeEncJis, .plain = true});
    EXPECT_EQ(jis.feed(text, 2), std::string("a\tb\r\n\x1B$B0!\x1B(J\0\x1B$B0!\x1B(J\n", 23));
}

TEST(TablesSweep, SayWhatIconvSays)
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
