#include <cctype>
#include <set>

#include "vdelib/encconv.h"

namespace
{

using Result = std::optional<std::string>;

// JIS text as the C library ends its kanji, with the set of ISO 646 instead of ours.
Result in_ascii(Result jis)
{
    for (size_t at; jis && (at = jis->find("\x1B(J")) != std::string::npos;)
        (*jis)[at + 2] = 'B';
    return jis;
}

// Codes of Big5 whose character the C library places elsewhere: symbols that look alike, characters
// that CNS has only beyond its second plane, two that both sets have twice, and two swapped.
const std::set<std::string> elsewhere = {
    "\xA1\x55", "\xA1\x56", "\xA1\x57", "\xA1\x58", "\xA1\xAB", "\xA1\xAC", "\xA1\xE1",
    "\xA1\xE2", "\xA2\xCC", "\xA2\xCE", "\xC2\x55", "\xD6\xCC", "\xDA\xDF", "\xF9\xD6",
    "\xF9\xD7", "\xF9\xD8", "\xF9\xD9", "\xF9\xDA", "\xF9\xDB", "\xF9\xDC", "\xF9\xE9",
    "\xF9\xEA", "\xF9\xEB", "\xF9\xF9", "\xF9\xFA", "\xF9\xFB", "\xF9\xFC", "\xF9\xFD"};

TEST(AsianSweep, EveryCodeIsThatOfTheCLibrary)
{
    const struct {
        Converter run;
        const char *from, *to, *before;
        int count;
    } cases[] = {
        {VdeShiftJisToEuc, "SJIS", "EUC-JP", "", 6879},
        {VdeEucToShiftJis, "EUC-JP", "SJIS", "", 6879},
        {VdeShiftJisToJis, "SJIS", "ISO-2022-JP", "", 6879},
        {VdeEucToJis, "EUC-JP", "ISO-2022-JP", "", 6879},
        {VdeBig52CNSEUC, "BIG5", "EUC-TW", "", 13000},
        {VdeCNSEUC2Big5, "EUC-TW", "BIG5", "", 5000},
        {VdeCNSEUC2Big5, "EUC-TW", "BIG5", "\x8E\xA2", 7000},
    };
    for (const auto &[run, from, target, before, least] : cases) {
        int count = 0;
        std::string whole, made;
        for_each_pair([&, run = run, from = from, target = target, before = before](auto pair) {
            const std::string code = before + pair;
            const auto expected = code < "\x80" ? std::nullopt : iconved(from, target, code);
            if (!expected || (run == VdeBig52CNSEUC && elsewhere.contains(code)) ||
                (run == VdeCNSEUC2Big5 && elsewhere.contains(*expected)))
                return;
            const auto result = converted(run, code);
            EXPECT_EQ(in_ascii(result), *expected) << from << ' ' << target << ' ' << code;
            // In a text it is the same, whatever stands beside it.
            const char *const beside = ++count % 7 == 0 ? "words ~\n" : "";
            whole += code + beside;
            made += result.value_or("") + beside;
        });
        EXPECT_GE(count, least) << from << ' ' << target;
        if (std::string(target) != "ISO-2022-JP") {
            EXPECT_TRUE(converted(run, whole) == made) << from << ' ' << target;
        }
    }
}

TEST(Japanese, BackIsTheSame)
{
    std::string euc;
    for_each_pair([&](const std::string &text) {
        if (UCharT(text[0]) >= 0xA1 && UCharT(text[1]) >= 0xA1 && text.find('\xFF') > 1) {
            euc += text;
            if (euc.size() % 14 == 0)
                euc += "ab 12\n";
        }
    });
    const std::string sjis = converted(VdeEucToShiftJis, euc).value();
    const std::string jis = converted(VdeEucToJis, euc).value();
    EXPECT_EQ(converted(VdeShiftJisToEuc, sjis), euc);
    EXPECT_EQ(converted(VdeShiftJisToJis, sjis), jis);
    EXPECT_EQ(converted(VdeJisToEuc, jis), euc);
    EXPECT_EQ(converted(VdeJisToShiftJis, jis), sjis);
}

TEST(Japanese, KatakanaBecomeFullWidth)
{
    const std::u32string full =
        U"。「」、・ヲァィゥェォャュョッーアイウエオカキクケコサシスセソタチツテト"
        U"ナニヌネノハヒフヘホマミムメモヤユヨラリルレロワン゛゜";
    // Those that have one code with their mark.
    const struct {
        int mark;
        std::u32string without, with;
    } marks[] = {{0xDE, U"ウカキクケコサシスセソタチツテトハヒフヘホ",
                  U"ヴガギグゲゴザジズゼゾダヂヅデドバビブベボ"},
                 {0xDF, U"ハヒフヘホ", U"パピプペポ"}};
    for (int ch = 0xA1; ch <= 0xDF; ++ch) {
        EXPECT_EQ(converted(VdeShiftJisToEuc, bytes({ch})), bytes({0x8E, ch}));
        EXPECT_EQ(converted(VdeEucToShiftJis, bytes({0x8E, ch})), bytes({ch}));
        for (const auto &[mark, without, with] : marks) {
            std::u32string text = {full.at(size_t(ch) - 0xA1), full.at(size_t(mark) - 0xA1)};
            if (const size_t at = without.find(text[0]); at != without.npos)
                text = with[at];
            const std::string raw(reinterpret_cast<const char *>(text.data()), 4 * text.size());
            const Result jis = iconved("UCS-4LE", "ISO-2022-JP", raw);
            EXPECT_EQ(in_ascii(converted(VdeShiftJisToJis, bytes({ch, mark}))), jis) << ch;
            EXPECT_EQ(in_ascii(converted(VdeEucToJis, bytes({0x8E, ch, 0x8E, mark}))), jis) << ch;
        }
    }
    const std::map<std::string, std::string> texts = {
        {"\xB6x", "\x1B$B%+\x1B(Jx"},
        {"x\x88\x9Fy", "x\x1B$B0!\x1B(Jy"},
        {"\x88\x9F\n\x88\x9F", "\x1B$B0!\x1B(J\n\x1B$B0!\x1B(J"},
        {"\x88\x9F\x88\xFD\x88\x20", "\x1B$B0!\x88\xFD\x88\x20\x1B(J"},
    };
    for (const auto &[sjis, jis] : texts)
        EXPECT_EQ(converted(VdeShiftJisToJis, sjis), jis);
}

TEST(Japanese, OneKatakanaByItself)
{
    const struct {
        const char *text;
        IntT index, c1, c2, kind;
        std::vector<IntT> after; // c1, c2, index
    } cases[] = {
        {"\xB6\xDE", 1, 0xB6, 0, VdeHanShiftJis, {0x83, 0x4B, 2}},
        {"\x8E\xCA\x8E\xDF", 2, 0xCA, 0, VdeHanEuc, {0x83, 0x70, 4}},
        {"A\x8E\xDE", 1, 'A', 7, VdeHanEuc, {65, 7, 1}},
        {"\xB6", 1, 0xB6, 0, VdeHanEuc, {0x83, 0x4A, 1}},
    };
    for (auto [text, index, c1, c2, kind, after] : cases) {
        const IntT before = c1;
        EXPECT_EQ(Vdehan2zen(text, &index, &c1, &c2, kind), before);
        EXPECT_EQ((std::vector{c1, c2, index}), after) << before;
    }
}

TEST(Japanese, EscapesAndLineEndsOfJis)
{
    const std::map<std::string, Result> texts = {
        {"x\x1B$@0!\x1B(By", "x\xB0\xA1y"},
        {"\x1B$B0!\n0!", "\xB0\xA1\n0!"},
        {"\x1B$B0!\r0!", "\xB0\xA1\r0!"},
        {"\x1B$B0", std::nullopt},
        {"\x1Bx\x1B\x1B", "x"},
        {"\x1B$", "$"},
        {"\x1B$B\x1B(J~\t", "~\t"},
        {"\x1B$B", ""},
    };
    for (const auto &[jis, euc] : texts)
        EXPECT_EQ(converted(VdeJisToEuc, jis), euc) << jis;
    EXPECT_EQ(converted(VdeJisToShiftJis, "a\t\x0C\x01z"), bytes({'a', 8, '\n', 0, 'z'}));
    // What is no character goes through the same sums, each byte for itself.
    for_each_pair([](const std::string &pair) {
        if (pair.find_first_of("\x1B\n\r") == 0)
            return;
        IntT c1 = UCharT(pair[0]), c2 = UCharT(pair[1]);
        Vdejis2sjis(&c1, &c2);
        ASSERT_EQ(converted(VdeJisToShiftJis, "\x1B$B" + pair), bytes({c1, c2})) << pair;
        if (std::isgraph(pair[0]) && std::isgraph(pair[1])) {
            Vdesjis2jis(&c1, &c2);
            EXPECT_EQ(bytes({c1, c2}), pair);
        }
    });
    EXPECT_EQ(converted(VdeEucToShiftJis, "a\t\x80\xFFz\xB0 \x8E "),
              bytes({'a', 8, 0, 0, 'z', 0xB0, ' ', 0x8E, ' '}));
}

TEST(ChineseSweep, CodesHaveTheirHanziOrTheSpace)
{
    std::map<std::string, std::string> back;
    int second = 0;
    const std::string space = bytes({0xA1, 0x40});
    for_each_pair([&](const std::string &pair) {
        const std::string cns = converted(VdeBig52CNSEUC, pair).value();
        if (pair >= "\x80" && cns != "\xA1\xA1" && pair != "\xC9\x4A" && pair != "\xDD\xFC") {
            EXPECT_TRUE(back.emplace(cns, pair).second) << "two codes of one character";
        }
        const auto in_plane = [&pair](int plane) {
            return converted(VdeCNSEUC2Big5, bytes({0x8E, plane}) + pair).value();
        };
        second += in_plane(0xA2) != space;
        EXPECT_EQ(in_plane(0xA1), space);
        EXPECT_EQ(in_plane(0xB0), in_plane(0xA2));
    });
    // The codes from A3CE on, symbols of control characters, have no way back.
    EXPECT_EQ(back.size(), 13477u);
    for (const auto &[cns, big5] : back) {
        const bool no_way = big5 >= "\xA3\xCE" && big5 <= "\xA3\xE0";
        EXPECT_EQ(converted(VdeCNSEUC2Big5, cns), no_way ? space : big5);
    }
    EXPECT_EQ(second, 7650);
    EXPECT_EQ(converted(VdeBig52CNSEUC, "\xC7@x\xA4"), "\xA1\xA1x\xA4");
    EXPECT_EQ(converted(VdeCNSEUC2Big5, bytes({'a', 0x8E, 0xA2, 0xA1})), "a" + space);
}

TEST(Chinese, HzAndBack)
{
    std::string gb;
    for_each_pair([&](const std::string &text) {
        // A first byte FE is "~" in 7 bits.
        if (UCharT(text[0]) >= 0xA1 && text[0] < '\xFE' && UCharT(text[1]) >= 0xA1 &&
            text[1] != '\xFF')
            gb += text + (gb.size() % 7 == 0 ? "a~{}\n" : "");
    });
    const std::string hz = converted(VdeGb8ToHz, gb).value();
    EXPECT_EQ(converted(VdeHzToGb8, hz), gb);
    for (const char ch : hz)
        ASSERT_EQ(ch & 0x80, 0);
    const std::map<std::string, Result> texts = {
        {"~{0!~}x", "\xB0\xA1x"},
        {"~~", "~"},
        {"~", ""},
        {"~{0!~x0!", "\xB0\xA1x0!"},
        {"~{0!\n0!", "\xB0\xA1\n0!"},
        {"~{0!~~0!", "\xB0\xA1~\xB0\xA1"},
        {"~{0", std::nullopt},
        {"\x90~", "\x90"},
    };
    for (const auto &[text, result] : texts)
        EXPECT_EQ(converted(VdeHzToGb8, text), result) << text;
    EXPECT_EQ(converted(VdeGb8ToHz, "\xB0\xA1x~"), "~{0!~}x~~");
    EXPECT_EQ(converted(VdeGb8ToHz, "\xB0\xA1\xB0 \xB0\xA1\r"), "~{0!\xB0 0!~}\r");
    EXPECT_EQ(converted(VdeGb8ToHz, "\xB0"), std::nullopt);
    IntT c1 = 0x30, c2 = 0x21;
    Vdegb72gb8(&c1, &c2);
    EXPECT_EQ(bytes({c1, c2}), "\xB0\xA1");
    for (auto [second, big5] : {std::pair{0x7F, 0x60}, {0x80, 0x60}, {0x9F, 0x21}}) {
        Vdegb8_2_big5(0xB0, &second);
        EXPECT_EQ(second, big5);
    }
}

TEST(Asian, NothingIsReadBehindTheText)
{
    // The blocks are as long as the texts, which the sanitizers and valgrind watch.
    for (const Converter run :
         {VdeJisToShiftJis, VdeJisToEuc, VdeShiftJisToJis, VdeShiftJisToEuc, VdeEucToJis,
          VdeEucToShiftJis, VdeCNSEUC2Big5, VdeBig52CNSEUC, VdeGb8ToHz, VdeHzToGb8}) {
        EXPECT_EQ(run(nullptr, "a", 1), 0);
        for (const char *before : {"", "\x1B$B", "~{", "\x8E", "\x8E\xA2", "\xB6", "\x8E\xB6"}) {
            for (int ch = 0; ch < 256; ++ch) {
                converted(run, before + bytes({ch}));
                converted(run, before + bytes({ch, 0x8E}));
            }
        }
    }
}

} // namespace
