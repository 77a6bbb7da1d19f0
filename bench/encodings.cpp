#include "bench/encodings.h"

#include <malloc.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/compare.h"
#include "bench/foreign.h"
#include "velt/vde/encodings.h"
#include "velt/vde/memory.h"
#include "velt/vde/unicode.h"

namespace velt::bench
{
namespace
{

constexpr std::size_t megabyte = 1'000'000;
constexpr int pairs = 41;
constexpr double linear = 1.05; // the largest ratio that counts as equal

// A text is prose in some languages, or else characters of the encoding that begin with a high
// byte, in random order.
enum Text : unsigned {
    english = 1,
    french = 2,
    japanese = 4,
    traditional = 8,
    simplified = 16,
    korean = 32,
    high = 64,
    high_asian = 128
};

constexpr struct {
    Text text;
    const char *name;
} texts[] = {
    {english, "ASCII"},      {french, "French"}, {japanese, "Japanese"}, {traditional, "Chinese"},
    {simplified, "Chinese"}, {korean, "Korean"}, {high, "high bytes"},   {high_asian, "high bytes"},
};

constexpr struct {
    Text language;
    const char *text;
} prose[] = {
#define SENTENCE(language, text) {language, text},
#include "bench/prose.def"
};

// The names of the encodings in the other libraries, and the texts that they can encode. Quire text
// equals the Macintosh's apart from its control characters and some that no text here contains.
struct Encoding {
    UIntT id;
    const char *title, *iconv, *icu;
    unsigned texts;
};

constexpr unsigned western = english | french | high;
constexpr unsigned japan = english | japanese | high_asian;
constexpr unsigned taiwan = english | traditional | high_asian;
constexpr unsigned china = english | simplified | high_asian;
constexpr unsigned korea = english | korean | high_asian;
constexpr Encoding encodings[] = {
    {VdeEncQuire, "Quire", "MACINTOSH", "macintosh", western},
    {VdeEncIsoLatin1, "Latin-1", "ISO-8859-1", "ISO-8859-1", western},
    {VdeEncAscii, "ASCII", "ASCII", "US-ASCII", english},
    {VdeEncAnsi, "ANSI", "CP1252", "windows-1252", western},
    {VdeEncMac, "Mac", "MACINTOSH", "macintosh", western},
    {VdeEncJis, "JIS", "ISO-2022-JP", "ISO-2022-JP", japan},
    {VdeEncShiftJis, "Shift-JIS", "SHIFT_JIS", "Shift_JIS", japan},
    {VdeEncJapaneseEuc, "EUC-JP", "EUC-JP", "EUC-JP", japan},
    {VdeEncBig5, "Big5", "BIG5", "Big5", taiwan},
    {VdeEncCnsEuc, "EUC-TW", "EUC-TW", "EUC-TW", taiwan},
    {VdeEncGbEuc, "EUC-CN", "EUC-CN", "GB2312", china},
    {VdeEncHz, "HZ", nullptr, "HZ", china},
    {VdeEncKscEuc, "EUC-KR", "EUC-KR", "EUC-KR", korea},
    {VdeEncUtf8, "UTF-8", "UTF-8", "UTF-8", ~0U},
};

constexpr const Encoding *find(UIntT id)
{
    const auto *row = std::ranges::find(encodings, id, &Encoding::id);
    return row != std::end(encodings) ? row : nullptr;
}

constexpr bool is_east_asian(UIntT id)
{
    return id >= VdeEncJis && id <= VdeEncKscEuc;
}

constexpr struct {
    UIntT from, to;
} conversions[] = {
#define CONVERSION(from, to, converter) {from, to},
#include "vdelib/encconv/conversions.def"
#undef CONVERSION
};

// The goal is half the time of the fastest library where the conversion saves two tables and the
// detour through Unicode; else the same time.
constexpr double goal_of(UIntT from, UIntT to)
{
    const auto joins = [=](UIntT one, UIntT other) { return from == one && to == other; };
    const bool direct = joins(VdeEncShiftJis, VdeEncJapaneseEuc) ||
                        joins(VdeEncJapaneseEuc, VdeEncShiftJis) || joins(VdeEncBig5, VdeEncCnsEuc);
    return direct || (is_east_asian(from) && to == VdeEncUtf8) ? 0.5 : 1;
}

struct Release {
    void operator()(char *text) const { V_Free(text); }
};
using Owned = std::unique_ptr<char, Release>;

Owned convert(const std::string &text, UIntT from, UIntT to)
{
    return Owned(V_StrConvertEnc(text.c_str(), from, to));
}

std::string utf8(char32_t code)
{
    const auto low = [code](int shift) { return static_cast<char>(0x80 | (code >> shift & 0x3F)); };
    if (code < 0x800)
        return {static_cast<char>(0xC0 | code >> 6), low(0)};
    return {static_cast<char>(0xE0 | code >> 12), low(6), low(0)};
}

// A pair of encodings, with all converters from one to the other.
class Pair
{
public:
    Pair(const Encoding &from, const Encoding &to)
        : from_(from), to_(to), encode_("UTF-8", from.icu, room), decode_(to.icu, "UTF-8", room)
    {
        others_.push_back(std::make_unique<Icu>(from.icu, to.icu, room));
        if (from.iconv && to.iconv)
            others_.push_back(std::make_unique<Iconv>(from.iconv, to.iconv, room));
        if (from.id == VdeEncIsoLatin1 && to.id == VdeEncUtf8)
            if (auto other = simdutf(room))
                others_.push_back(std::move(other));
    }

    // Makes a text of about a megabyte in UTF-8, in the encoding to convert from.
    std::string make(Text text)
    {
        std::vector<std::string> parts;
        for (const auto &row : prose) {
            if (row.language == text)
                parts.emplace_back(row.text);
        }
        if (parts.empty())
            parts = high_characters();
        std::minstd_rand random;
        std::string all;
        for (std::size_t paragraph = 0; all.size() < megabyte;) {
            const std::string &part = parts[random() % parts.size()];
            all += part;
            if (parts.front().size() <= longest_character)
                continue;
            // Lines are about as long as paragraphs, because texts leave the breaking of lines to
            // the host.
            paragraph += part.size();
            all += paragraph < 500 ? " " : "\n";
            paragraph %= 500;
        }
        const std::string made = encode_.checked(all);
        if (!agree(made))
            throw std::runtime_error("the results differ");
        return made;
    }

    Foreign &fastest(const std::string &text)
    {
        return **std::ranges::min_element(others_, {}, [&text](const auto &other) {
            std::vector<double> times(5);
            for (double &seconds : times)
                seconds = timed(1, [&](std::size_t) { other->convert(text); });
            return median(times);
        });
    }

private:
    static constexpr std::size_t room = 8 * megabyte;
    static constexpr std::size_t longest_character = 3;

    // The characters, in UTF-8, that begin with a high byte and that all libraries convert alike.
    std::vector<std::string> high_characters()
    {
        std::vector<std::string> characters;
        for (char32_t code = 0x80; code < 0xFFFE; ++code) {
            if (code >= 0xD800 && code < 0xE000)
                continue;
            const std::string character = utf8(code);
            const std::string_view *encoded = encode_.convert(character);
            if (!encoded)
                continue;
            const std::string text(*encoded);
            const auto first = static_cast<unsigned char>(text[0]);
            const bool escaped = from_.id == VdeEncJis || from_.id == VdeEncHz;
            if ((first >= 0x80 || (escaped && text.size() > 2)) && agree(text))
                characters.push_back(character);
        }
        return characters;
    }

    // Whether all libraries convert the text to the same characters. These are compared in Unicode,
    // because escape sequences have more than one form.
    bool agree(const std::string &text)
    {
        const Owned ours = bench::convert(text, from_.id, to_.id);
        const std::string expected = ours ? characters(ours.get()) : "";
        return !expected.empty() && std::ranges::all_of(others_, [&](const auto &other) {
            const std::string_view *result = other->convert(text);
            return result && characters(*result) == expected;
        });
    }

    // Quire text has paragraph ends where other text has line ends, which are signs in ANSI, and a
    // curved apostrophe for ANSI's straight one.
    std::string characters(std::string_view text)
    {
        constexpr std::pair<std::string_view, char> plain[] = {
            {"\xE2\x80\xA9", '\n'}, {"\xC2\xB6", '\n'}, {"\xE2\x80\x99", '\''}};
        const std::string_view *decoded = decode_.convert(text);
        std::string result = decoded ? std::string(*decoded) : "";
        for (const auto &[sign, byte] : plain) {
            for (std::size_t at = 0; (at = result.find(sign, at)) != result.npos;)
                result.replace(at, sign.size(), 1, byte);
        }
        return result;
    }

    const Encoding &from_, &to_;
    std::vector<std::unique_ptr<Foreign>> others_;
    Icu encode_, decode_;
};

double ours(const std::string &text, UIntT from, UIntT to)
{
    return timed(1, [&](std::size_t) { benchmark::DoNotOptimize(convert(text, from, to)); });
}

void convert_text(benchmark::State &state, const Encoding &from, const Encoding &to, Text text)
try {
    Pair pair(from, to);
    const std::string sample = pair.make(text);
    Foreign &theirs = pair.fastest(sample);
    compare(
        state, [&] { return timed(1, [&](std::size_t) { theirs.convert(sample); }); },
        [&] { return ours(sample, from.id, to.id); });
    state.counters[counter::goal] = goal_of(from.id, to.id);
    state.SetLabel(theirs.name());
} catch (const std::exception &error) {
    state.SkipWithError(error.what());
}

// Compares with the time that so many bytes take at a given rate.
void convert_at(benchmark::State &state, UIntT from, const std::string &sample,
                double bytes_per_second)
{
    compare(
        state, [&] { return static_cast<double>(sample.size()) / bytes_per_second; },
        [&] { return ours(sample, from, VdeEncUtf8); });
}

void convert_english_at(benchmark::State &state, const Encoding &from, double bytes_per_second)
try {
    convert_at(state, from.id, Pair(from, *find(VdeEncUtf8)).make(english), bytes_per_second);
    state.counters[counter::goal] = 1;
} catch (const std::exception &error) {
    state.SkipWithError(error.what());
}

// Characters of the encoding at random, for an encoding that the other libraries lack.
void convert_signs_at(benchmark::State &state, UIntT from, double bytes_per_second)
{
    std::string signs, sample;
    for (int byte = 0x21; byte <= 0xFF; ++byte) {
        const std::string sign(1, static_cast<char>(byte));
        const Owned converted = convert(sign, from, VdeEncUtf8);
        if (converted && *converted != '\0')
            signs += sign;
    }
    for (std::minstd_rand random; sample.size() < megabyte;)
        sample += signs[random() % signs.size()];
    convert_at(state, from, sample, bytes_per_second);
}

// Compares a large text with its parts, converted one by one, whose results are all kept. Both
// start with fresh memory: what the C library has cached is returned to the system before.
void convert_large(benchmark::State &state, const Encoding &from, const Encoding &to, Text text)
try {
    const std::vector<std::string> parts(64, Pair(from, to).make(text));
    std::string whole;
    for (const std::string &part : parts)
        whole += part;
    compare(
        state,
        [&] {
            std::vector<Owned> results(parts.size());
            malloc_trim(0);
            return static_cast<double>(parts.size()) * timed(parts.size(), [&](std::size_t i) {
                       results[i] = convert(parts[i], from.id, to.id);
                   });
        },
        [&] {
            Owned result;
            malloc_trim(0);
            return timed(1, [&](std::size_t) { result = convert(whole, from.id, to.id); });
        });
    state.counters[counter::goal] = linear;
} catch (const std::exception &error) {
    state.SkipWithError(error.what());
}

} // namespace

void register_encodings()
{
    V_FdeInitUnicode(VELT_UNICODE_HOME);
    for (const auto &row : conversions) {
        const Encoding *from = find(row.from);
        const Encoding *to = find(row.to);
        if (!from || !to)
            continue;
        for (const auto &[text, name] : texts) {
            if ((from->texts & to->texts & text) == 0)
                continue;
            const std::string line = std::string(from->title) + " to " + to->title + ", " + name;
            benchmark::RegisterBenchmark(line.c_str(), convert_text, *from, *to, text)
                ->Iterations(pairs);
        }
    }
    for (const UIntT id : {VdeEncQuire, VdeEncIsoLatin1}) {
        const Encoding &from = *find(id);
        benchmark::RegisterBenchmark(
            (std::string(from.title) + " to UTF-8, ASCII / 5 GB/s").c_str(), convert_english_at,
            from, 5e9)
            ->Iterations(pairs);
    }
    constexpr struct {
        UIntT id;
        const char *title;
    } signs[] = {{VdeEncSymbol, "Symbol"},
                 {VdeEncZapfDingbats, "ZapfDingbats"},
                 {VdeEncWingdings, "Wingdings"}};
    for (const auto &row : signs) {
        benchmark::RegisterBenchmark((std::string(row.title) + " to UTF-8 / 1 GB/s").c_str(),
                                     convert_signs_at, row.id, 1e9)
            ->Iterations(pairs);
    }
    constexpr struct {
        UIntT from, to;
        Text text;
    } large[] = {
        {VdeEncIsoLatin1, VdeEncUtf8, french},
        {VdeEncShiftJis, VdeEncJapaneseEuc, japanese},
        {VdeEncBig5, VdeEncUtf8, traditional},
    };
    for (const auto &row : large) {
        const Encoding &from = *find(row.from);
        const Encoding &to = *find(row.to);
        const std::string line =
            std::string("64 MB ") + from.title + " to " + to.title + " / 64 x 1 MB";
        benchmark::RegisterBenchmark(line.c_str(), convert_large, from, to, row.text)
            ->Iterations(11);
    }
}

} // namespace velt::bench
