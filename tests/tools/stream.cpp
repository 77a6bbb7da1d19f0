// The streams of vqconv: whatever the blocks, the library's result for the whole text.

#include "tools/vqconv/stream.h"
#include "tools/vqconv/encodings.h"

#include "support/convert.h"

#include <random>

namespace
{

// A stream, and what has come out of it.
struct Kept {
    explicit Kept(const StreamOptions &options)
        : stream(options, [this](std::string_view bytes) { out += bytes; })
    {
    }
    // The whole text in blocks.
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

// Calls with each sample and all that it converts to.
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

} // namespace

TEST(Stream, BlocksDoNotShow)
{
    for_each_pair([](const std::string &text, UIntT from, UIntT target) {
        const auto whole = to(text, from, target);
        // Some texts have line ends for which the target has nothing.
        Kept kept({.from = from, .to = target, .skip = true});
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
            Kept skipping({.from = from, .to = target, .skip = true});
            const std::string whole = skipping.feed(text, text.size());
            const auto skipped = skipping.stream.skipped_bytes();
            EXPECT_EQ(skipping.feed(text, 1 + random() % 5), whole);
            EXPECT_EQ(skipping.stream.skipped_bytes(), 2 * skipped);

            std::string found;
            try {
                Kept strict({.from = from, .to = target});
                EXPECT_EQ(strict.feed(text, 1 + random() % 5), whole);
            } catch (const Unconvertible &error) {
                found = error.what();
            }
            EXPECT_EQ(found, skipping.stream.first_skipped());
        }
    });
}

TEST(Stream, PlainTextKeepsItsLinesAndZeroBytesStay)
{
    const std::string text("a\tb\r\n\x88\x9F\0\x88\x9F\n", 11);
    Kept plain({.from = VdeEncShiftJis, .to = VdeEncUtf8, .plain = true});
    EXPECT_EQ(plain.feed(text, 1), std::string("a\tb\r\n\xE4\xBA\x9C\0\xE4\xBA\x9C\n", 13));
    Kept jis({.from = VdeEncShiftJis, .to = VdeEncJis, .plain = true});
    EXPECT_EQ(jis.feed(text, 2), std::string("a\tb\r\n\x1B$B0!\x1B(J\0\x1B$B0!\x1B(J\n", 23));
}
