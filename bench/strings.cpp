#include "bench/strings.h"

#include <strings.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <string_view>

#include "bench/blocks.h"
#include "bench/foreign.h"
#include "velt/vde/fontenc.h"
#include "velt/vde/strings.h"

namespace velt::bench
{
namespace
{

// A string that begins where the heap would let it begin, and crosses no end of a page: as most,
// and in each run alike.
class Text
{
public:
    Text(const std::string &text, std::size_t place) : begin_(block_ + 16 * place)
    {
        text.copy(begin_, text.size());
    }
    Text(const Text &) = delete;
    Text &operator=(const Text &) = delete;

    const char *c_str() const { return begin_; }

private:
    alignas(4096) char block_[4096] = {};
    char *begin_;
};

constexpr struct {
    std::string_view language;
    const char *text;
} prose[] = {
#define SENTENCE(language, text) {#language, text},
#include "bench/prose.def"
};

// The first whole characters, of so many bytes or one less.
std::string begin_of(const std::string &text, std::size_t size, UIntT enc)
{
    std::string begin(size + 1, '\0');
    V_StrCpyNEnc(begin.data(), text.c_str(), static_cast<IntT>(size) + 1, enc);
    return begin.c_str();
}

std::string end_of(const std::string &text, std::size_t size, UIntT enc)
{
    return text.substr(begin_of(text, text.size() - size, enc).size());
}

// Prose of that language in the encoding, with a full stop where half a character would be.
std::string prose_of(std::string_view language, const char *encoding, std::size_t size, UIntT enc)
{
    std::string text;
    for (const auto &sentence : prose)
        if (sentence.language == language)
            text += sentence.text;
    text = begin_of(Iconv("UTF-8", encoding, text.size()).checked(text), size, enc);
    text.resize(size, '.');
    return text;
}

std::string letters(std::size_t size)
{
    std::string text;
    for (std::size_t i = 0; i < size; ++i)
        text += static_cast<char>('a' + i % 26);
    return text;
}

// The same with every second letter in the other case.
std::string mixed(std::string text, UIntT enc)
{
    const UCharT *const begins_pair = vdeFontEncs[enc]->firstByte;
    bool is_other = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<UCharT>(text[i]);
        if (begins_pair[byte] != 0)
            ++i;
        else if (std::isalpha(byte) && (is_other = !is_other))
            text[i] = static_cast<char>(byte ^ 0x20);
    }
    return text;
}

// A text, the same in a place of its own, in both cases and with another last byte, its last
// characters alone and with another behind them; and a number with as many digits.
struct Sample {
    Sample(const std::string &of, UIntT encoding, const char *language_of = "")
        : size(of.size()), enc(encoding),
          language(language_of), text{of, 1}, same{of, 4}, mixed{bench::mixed(of, enc), 3},
          other{of.substr(0, size - 1) + '#', 6}, end{end_of(of, 6, enc), 9},
          absent{end_of(of, 3, enc) + '#', 12}, number{std::string(size - 10, '0') + "1234567890",
                                                       1}
    {
    }

    std::size_t size;
    UIntT enc;
    std::string language;
    Text text, same, mixed, other, end, absent, number;
};

// Half a page behind the texts, so that the processor does not take a byte that has been copied for
// one that is to be.
alignas(4096) char results[4096 + 2048];
char *const buffer = results + 2048 + 16;

// What stands there is cut to that length.
char *cut(std::size_t length)
{
    buffer[length] = '\0';
    return buffer;
}

// An ASCII byte that the text has in two-byte characters only, or else one that it does not have.
UCharT second_byte(const char *text, UIntT enc)
{
    for (UCharT byte = 0x40; byte < 0x7F; ++byte)
        if (std::strchr(text, byte) && !V_StrChrEnc(text, byte, 0, enc))
            return byte;
    return '#';
}

int released(void *block)
{
    benchmark::DoNotOptimize(block);
    std::free(block);
    return 0;
}

// What has a counterpart in the C library, whose time is the goal, and twice that where the routine
// minds an encoding.
void add_lines(const Sample &sample)
{
    const auto line = [&](double goal, const char *ours_name, const char *name, auto theirs,
                          auto ours) {
        add_line(
            ours_name + (" of " + std::to_string(sample.size)) + sample.language + " / " + name,
            goal, [=](benchmark::State &state) { compare(state, block(theirs), block(ours)); });
    };
    const char *const a = sample.text.c_str();
    const char *const same = sample.same.c_str();
    const char *const mixed = sample.mixed.c_str();
    const char *const other = sample.other.c_str();
    const char *const end = sample.end.c_str();
    const char *const absent = sample.absent.c_str();
    const char *const number = sample.number.c_str();
    const std::size_t n = sample.size;
    const auto N = static_cast<IntT>(n);
    const UIntT enc = sample.enc;

    const auto len = [=] { return std::strlen(a); };
    const auto cmp = [=] { return std::strcmp(a, same); };
    const auto ncmp = [=] { return std::strncmp(a, same, n); };
    const auto icmp = [=] { return strcasecmp(a, mixed); };
    const auto nicmp = [=] { return strncasecmp(a, mixed, n); };
    const auto mcmp = [=] { return strcasecmp(a, same) == 0 ? std::strcmp(a, same) : 1; };
    const auto prefix = [=] { return std::strncmp(a, same, std::strlen(same)); };
    const auto iprefix = [=] { return strncasecmp(a, mixed, std::strlen(mixed)); };
    const auto suffix = [=] { return std::strcmp(a + std::strlen(a) - std::strlen(end), end); };
    const auto isuffix = [=] { return strcasecmp(a + std::strlen(a) - std::strlen(end), end); };
    const auto chr = [=] { return std::strchr(a, '#'); };
    const auto str = [=] { return std::strstr(a, absent); };
    const auto ncpy = [=] { return std::strncpy(buffer, a, n + 1); };
    const auto cat = [=] { return std::strcat(cut(0), a); };
    const auto ncat = [=] { return std::strncat(cut(0), a, n); };

    if (sample.language.empty()) {
        line(1, "V_StrLen", "strlen", len, [=] { return V_StrLen(a); });
        line(1, "V_StrCmp", "strcmp", cmp, [=] { return V_StrCmp(a, same); });
        line(
            1, "V_StrCmp, unlike", "strcmp", [=] { return std::strcmp(a, other); },
            [=] { return V_StrCmp(a, other); });
        line(1, "V_StrCmpN", "strncmp", ncmp, [=] { return V_StrCmpN(a, same, N); });
        line(1, "V_StrEqual", "strcmp", cmp, [=] { return V_StrEqual(a, same); });
        line(1, "V_StrEqualN", "strncmp", ncmp, [=] { return V_StrEqualN(a, same, N); });
        line(1, "V_StrICmp", "strcasecmp", icmp, [=] { return V_StrICmp(a, mixed); });
        line(1, "V_StrICmpN", "strncasecmp", nicmp, [=] { return V_StrICmpN(a, mixed, N); });
        line(1, "V_StrIEqual", "strcasecmp", icmp, [=] { return V_StrIEqual(a, mixed); });
        line(1, "V_StrIEqualN", "strncasecmp", nicmp, [=] { return V_StrIEqualN(a, mixed, N); });
        line(1, "V_StrMCmp", "both", mcmp, [=] { return V_StrMCmp(a, same); });
        line(1, "V_StrQsortCmp", "both", mcmp, [=] { return V_StrQsortCmp(&a, &same); });
        line(1, "V_StrPrefix", "strncmp", prefix, [=] { return V_StrPrefix(a, same); });
        line(1, "V_StrPrefixN", "strncmp", prefix, [=] { return V_StrPrefixN(a, same, N); });
        line(1, "V_StrIPrefix", "strncasecmp", iprefix, [=] { return V_StrIPrefix(a, mixed); });
        line(1, "V_StrSuffix", "strcmp", suffix, [=] { return V_StrSuffix(a, end); });
        line(1, "V_StrISuffix", "strcasecmp", isuffix, [=] { return V_StrISuffix(a, end); });
        line(1, "V_StrChr", "strchr", chr, [=] { return V_StrChr(a, '#'); });
        line(
            1, "V_StrRChr", "strrchr", [=] { return std::strrchr(a, '#'); },
            [=] { return V_StrRChr(a, '#'); });
        line(1, "V_StrSubString", "strstr", str, [=] { return V_StrSubString(a, absent); });
        line(
            1, "V_StrCpy", "strcpy", [=] { return std::strcpy(buffer, a); },
            [=] { return V_StrCpy(buffer, a), 0; });
        line(1, "V_StrCpyN", "strncpy", ncpy, [=] { return V_StrCpyN(buffer, a, N + 1); });
        line(1, "V_StrCat", "strcat", cat, [=] { return V_StrCat(cut(0), a); });
        line(
            1, "V_StrCat behind 9", "strcat", [=] { return std::strcat(cut(9), a); },
            [=] { return V_StrCat(cut(9), a); });
        line(1, "V_StrCatN", "strncat", ncat, [=] { return V_StrCatN(cut(0), a, N + 1); });
        line(1, "V_StrNCatN", "strncat", ncat, [=] { return V_StrNCatN(cut(0), a, N, N + 1); });
        line(
            1, "V_StrCopyString", "strdup", [=] { return released(strdup(a)); },
            [=] { return released(V_StrCopyString(a)); });
        line(
            1, "V_StrNew", "calloc", [=] { return released(std::calloc(n + 1, 1)); },
            [=] { return released(V_StrNew(N)); });
        line(
            1, "V_StrAlphaToInt", "atoi", [=] { return std::atoi(number); },
            [=] { return V_StrAlphaToInt(number); });
        line(
            1, "V_StrAlphaToReal", "atof", [=] { return std::atof(number); },
            [=] { return V_StrAlphaToReal(number); });
        line(
            1, "V_StrMCmp, mixed", "both",
            [=] { return strcasecmp(a, mixed) == 0 ? std::strcmp(a, mixed) : 1; },
            [=] { return V_StrMCmp(a, mixed); });
        line(
            1, "V_StrCatN behind 9", "strncat", [=] { return std::strncat(cut(9), a, n); },
            [=] { return V_StrCatN(cut(9), a, N + 10); });
        line(
            1, "V_StrNCatN behind 9", "strncat", [=] { return std::strncat(cut(9), a, n); },
            [=] { return V_StrNCatN(cut(9), a, N, N + 10); });
        line(
            1, "V_StrCatIntN behind", "snprintf",
            [=] { return std::snprintf(std::strchr(cut(n), '\0'), 16, "%d", 123456); },
            [=] { return V_StrCatIntN(cut(n), 123456, N + 16); });
    }

    line(2, "V_StrLenEnc", "strlen", len, [=] { return V_StrLenEnc(a, enc); });
    line(2, "V_StrICmpEnc", "strcasecmp", icmp, [=] { return V_StrICmpEnc(a, mixed, enc); });
    line(2, "V_StrCmpNEnc", "strncmp", ncmp, [=] { return V_StrCmpNEnc(a, same, N, enc); });
    line(2, "V_StrICmpNEnc", "strncasecmp", nicmp, [=] { return V_StrICmpNEnc(a, mixed, N, enc); });
    line(2, "V_StrIEqualEnc", "strcasecmp", icmp, [=] { return V_StrIEqualEnc(a, mixed, enc); });
    line(2, "V_StrIEqualNEnc", "strncasecmp", nicmp,
         [=] { return V_StrIEqualNEnc(a, mixed, N, enc); });
    line(2, "V_StrMCmpEnc", "both", mcmp, [=] { return V_StrMCmpEnc(a, same, enc); });
    line(2, "V_StrQsortCmpEnc", "both", mcmp, [=] { return V_StrQsortCmpEnc(&a, &same, enc); });
    line(2, "V_StrIPrefixEnc", "strncasecmp", iprefix,
         [=] { return V_StrIPrefixEnc(a, mixed, enc); });
    line(2, "V_StrISuffixEnc", "strcasecmp", isuffix, [=] { return V_StrISuffixEnc(a, end, enc); });
    line(2, "V_StrStrEnc", "strstr", str, [=] { return V_StrStrEnc(a, absent, enc); });
    line(2, "V_StrChrEnc", "strchr", chr, [=] { return V_StrChrEnc(a, '#', 0, enc); });
    line(
        2, "V_StrRChrEnc", "strrchr", [=] { return std::strrchr(other, '#'); },
        [=] { return V_StrRChrEnc(other, '#', 0, enc); });
    line(2, "V_StrCpyNEnc", "strncpy", ncpy, [=] { return V_StrCpyNEnc(buffer, a, N + 1, enc); });
    line(2, "V_StrCatNEnc", "strncat", ncat, [=] { return V_StrCatNEnc(cut(0), a, N + 1, enc); });
    line(2, "V_StrNCatNEnc", "strncat", ncat,
         [=] { return V_StrNCatNEnc(cut(0), a, N, N + 1, enc); });
    line(
        2, "V_StrCatNEnc behind 9", "strncat", [=] { return std::strncat(cut(9), a, n); },
        [=] { return V_StrCatNEnc(cut(9), a, N + 10, enc); });
    line(
        2, "V_StrNCatNEnc behind 9", "strncat", [=] { return std::strncat(cut(9), a, n); },
        [=] { return V_StrNCatNEnc(cut(9), a, N, N + 10, enc); });
    if (!sample.language.empty()) {
        // A character of two bytes, and a byte that only ends some.
        const UCharT b1 = static_cast<UCharT>(end[0]), b2 = static_cast<UCharT>(end[1]);
        const UCharT second = second_byte(a, enc);
        line(2, "V_StrChrEnc of a second byte", "strchr", chr,
             [=] { return V_StrChrEnc(a, second, 0, enc); });
        line(
            2, "V_StrRChrEnc of a second byte", "strrchr", [=] { return std::strrchr(a, '#'); },
            [=] { return V_StrRChrEnc(a, second, 0, enc); });
        const char pair[] = {end[0], end[1], '\0'};
        line(
            2, "V_StrChrEnc of a pair", "strstr", [=] { return std::strstr(a, pair); },
            [=] { return V_StrChrEnc(a, b1, b2, enc); });
    }
}

} // namespace

void register_strings()
{
    V_FdeInitFontEncs(nullptr);
    const UIntT shift_jis = vdeJISX0208_ShiftJISEncodingId, gb = vdeGB2312_80_EUCEncodingId;
    for (const std::size_t size : {16U, 1000U}) {
        static std::deque<Sample> samples; // whose texts stay in their places
        samples.emplace_back(letters(size), shift_jis);
        samples.emplace_back(prose_of("japanese", "SHIFT_JIS", size, shift_jis), shift_jis,
                             ", Japanese");
        samples.emplace_back(prose_of("simplified", "EUC-CN", size, gb), gb, ", Chinese");
        for (auto sample = samples.end() - 3; sample != samples.end(); ++sample)
            add_lines(*sample);
    }
}

} // namespace velt::bench
