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
// last byte, and the last letters alone.
struct Sample {
    explicit Sample(std::size_t length) : size(length) {}

    std::size_t size;
    std::string lower = letters(size, 'a');
    Text text{lower, 1}, same{lower, 4}, mixed{letters(size, 'A'), 3};
    Text other{lower.substr(0, size - 1) + '#', 6}, end{lower.substr(size - 6), 9};
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
    const std::size_t n = sample.size;
    const auto N = static_cast<IntT>(n);
    const UIntT enc = vdeJISX0208_ShiftJISEncodingId;
    const auto theirs_len = [=] { return std::strlen(a); };
    const auto theirs_cmp = [=] { return std::strcmp(a, same); };
    const auto theirs_ncmp = [=] { return std::strncmp(a, same, n); };
    const auto theirs_icmp = [=] { return strcasecmp(a, mixed); };
    const auto theirs_chr = [=] { return std::strchr(a, '#'); };
    const auto theirs_str = [=] { return std::strstr(a, "zab#"); };
    const auto theirs_ncpy = [=] { return std::strncpy(buffer, a, n + 1); };
    const auto theirs_ncat = [=] { return std::strncat(cut(0), a, n); };

    line(1, "V_StrLen", "strlen", theirs_len, [=] { return V_StrLen(a); });
    line(1, "V_StrCmp", "strcmp", theirs_cmp, [=] { return V_StrCmp(a, same); });
    line(
        1, "V_StrCmp, unlike", "strcmp", [=] { return std::strcmp(a, other); },
        [=] { return V_StrCmp(a, other); });
    line(1, "V_StrCmpN", "strncmp", theirs_ncmp, [=] { return V_StrCmpN(a, same, N); });
    line(1, "V_StrEqual", "strcmp", theirs_cmp, [=] { return V_StrEqual(a, same); });
    line(1, "V_StrICmp", "strcasecmp", theirs_icmp, [=] { return V_StrICmp(a, mixed); });
    line(
        1, "V_StrICmpN", "strncasecmp", [=] { return strncasecmp(a, mixed, n); },
        [=] { return V_StrICmpN(a, mixed, N); });
    line(
        1, "V_StrPrefix", "strncmp", [=] { return std::strncmp(a, same, std::strlen(same)); },
        [=] { return V_StrPrefix(a, same); });
    line(
        1, "V_StrSuffix", "strcmp",
        [=] { return std::strcmp(a + std::strlen(a) - std::strlen(end), end); },
        [=] { return V_StrSuffix(a, end); });
    line(1, "V_StrChr", "strchr", theirs_chr, [=] { return V_StrChr(a, '#'); });
    line(
        1, "V_StrRChr", "strrchr", [=] { return std::strrchr(a, '#'); },
        [=] { return V_StrRChr(a, '#'); });
    line(1, "V_StrSubString", "strstr", theirs_str, [=] { return V_StrSubString(a, "zab#"); });
    line(
        1, "V_StrCpy", "strcpy", [=] { return std::strcpy(buffer, a); },
        [=] { return V_StrCpy(buffer, a), 0; });
    line(1, "V_StrCpyN", "strncpy", theirs_ncpy, [=] { return V_StrCpyN(buffer, a, N + 1); });
    line(
        1, "V_StrCat", "strcat", [=] { return std::strcat(cut(0), a); },
        [=] { return V_StrCat(cut(0), a); });
    line(
        1, "V_StrCat behind 9", "strcat", [=] { return std::strcat(cut(9), a); },
        [=] { return V_StrCat(cut(9), a); });
    line(1, "V_StrCatN", "strncat", theirs_ncat, [=] { return V_StrCatN(cut(0), a, N + 1); });
    line(
        1, "V_StrCopyString", "strdup", [=] { return released(strdup(a)); },
        [=] { return released(V_StrCopyString(a)); });
    line(
        1, "V_StrNew", "calloc", [=] { return released(std::calloc(n + 1, 1)); },
        [=] { return released(V_StrNew(N)); });

    line(2, "V_StrLenEnc", "strlen", theirs_len, [=] { return V_StrLenEnc(a, enc); });
    line(2, "V_StrICmpEnc", "strcasecmp", theirs_icmp, [=] { return V_StrICmpEnc(a, mixed, enc); });
    line(2, "V_StrCmpNEnc", "strncmp", theirs_ncmp, [=] { return V_StrCmpNEnc(a, same, N, enc); });
    line(2, "V_StrStrEnc", "strstr", theirs_str, [=] { return V_StrStrEnc(a, "zab#", enc); });
    line(2, "V_StrChrEnc", "strchr", theirs_chr, [=] { return V_StrChrEnc(a, '#', 0, enc); });
    line(
        2, "V_StrRChrEnc", "strrchr", [=] { return std::strrchr(other, '#'); },
        [=] { return V_StrRChrEnc(other, '#', 0, enc); });
    line(
        2, "V_StrISuffixEnc", "strcasecmp",
        [=] { return strcasecmp(a + std::strlen(a) - std::strlen(end), end); },
        [=] { return V_StrISuffixEnc(a, end, enc); });
    line(2, "V_StrCpyNEnc", "strncpy", theirs_ncpy,
         [=] { return V_StrCpyNEnc(buffer, a, N + 1, enc); });
    line(2, "V_StrCatNEnc", "strncat", theirs_ncat,
         [=] { return V_StrCatNEnc(cut(0), a, N + 1, enc); });
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
