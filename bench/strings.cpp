#include "bench/strings.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "bench/blocks.h"
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

std::string letters(std::size_t size, char even)
{
    std::string text;
    for (std::size_t i = 0; i < size; ++i)
        text += static_cast<char>((i % 2 == 0 ? even : 'a') + i % 26);
    return text;
}

// Letters, the same in a place of their own, with every second in the other case, and with another
// last byte, and the last letters alone; and a number with as many digits.
struct Sample {
    explicit Sample(std::size_t length) : size(length) {}

    std::size_t size;
    std::string lower = letters(size, 'a');
    Text text{lower, 1}, same{lower, 4}, mixed{letters(size, 'A'), 3};
    Text other{lower.substr(0, size - 1) + '#', 6}, end{lower.substr(size - 6), 9};
    Text number{std::string(size - 10, '0') + "1234567890", 1};
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

int released(void *block)
{
    benchmark::DoNotOptimize(block);
    std::free(block);
    return 0;
}

// What has a counterpart in the C library, whose time is the goal, and twice that where the routine
// minds an encoding; the text is ASCII.
void add_lines(const Sample &sample)
{
    const auto line = [&](double goal, const char *ours_name, const char *name, auto theirs,
                          auto ours) {
        add_line(std::string(ours_name) + " of " + std::to_string(sample.size) + " / " + name, goal,
                 [=](benchmark::State &state) { compare(state, block(theirs), block(ours)); });
    };
    const char *const a = sample.text.c_str();
    const char *const same = sample.same.c_str();
    const char *const mixed = sample.mixed.c_str();
    const char *const other = sample.other.c_str();
    const char *const end = sample.end.c_str();
    const char *const number = sample.number.c_str();
    const std::size_t n = sample.size;
    const auto N = static_cast<IntT>(n);
    const UIntT enc = vdeJISX0208_ShiftJISEncodingId;

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
    const auto str = [=] { return std::strstr(a, "zab#"); };
    const auto ncpy = [=] { return std::strncpy(buffer, a, n + 1); };
    const auto cat = [=] { return std::strcat(cut(0), a); };
    const auto ncat = [=] { return std::strncat(cut(0), a, n); };

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
    line(1, "V_StrSubString", "strstr", str, [=] { return V_StrSubString(a, "zab#"); });
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
    line(2, "V_StrStrEnc", "strstr", str, [=] { return V_StrStrEnc(a, "zab#", enc); });
    line(2, "V_StrChrEnc", "strchr", chr, [=] { return V_StrChrEnc(a, '#', 0, enc); });
    line(
        2, "V_StrRChrEnc", "strrchr", [=] { return std::strrchr(other, '#'); },
        [=] { return V_StrRChrEnc(other, '#', 0, enc); });
    line(2, "V_StrCpyNEnc", "strncpy", ncpy, [=] { return V_StrCpyNEnc(buffer, a, N + 1, enc); });
    line(2, "V_StrCatNEnc", "strncat", ncat, [=] { return V_StrCatNEnc(cut(0), a, N + 1, enc); });
    line(2, "V_StrNCatNEnc", "strncat", ncat,
         [=] { return V_StrNCatNEnc(cut(0), a, N, N + 1, enc); });
}

} // namespace

void register_strings()
{
    V_FdeInitFontEncs(nullptr);
    static const Sample samples[] = {Sample(16), Sample(1000)};
    for (const Sample &sample : samples)
        add_lines(sample);
}

} // namespace velt::bench
