// Comparing strings.

#include <algorithm>
#include <climits>
#include <cstring>

#include "vdelib/strings/compare.h"
#include "velt/vde/strings.h"

namespace
{

using namespace velt;

constexpr IntT all = INT_MAX;

const UCharT *bytes_of(const char *s)
{
    return reinterpret_cast<const UCharT *>(or_empty(s));
}

// Difference of the first bytes whose images differ among the first `count`; 0 when a string ends
// before, and for a count below 1.
template <Compare compare>
[[gnu::noinline]] IntT difference_of_long(const UCharT *p, const UCharT *q, IntT count)
{
    for (; count > 0; --count, ++p, ++q) {
        if (folds_as_blocks<compare>()) {
            const size_t at = alike_long<compare, Bytes::all>(p, q, static_cast<size_t>(count));
            count -= static_cast<IntT>(at);
            if (count == 0)
                break;
            p += at;
            q += at;
        }
        // Letters that are not ASCII may have the same image.
        const IntT result = image<compare>(*p) - image<compare>(*q);
        if (result != 0 || *p == '\0' || *q == '\0')
            return result;
    }
    return 0;
}

template <Compare compare>
inline IntT difference(const char *a, const char *b, IntT count)
{
    const UCharT *const p = bytes_of(a);
    const UCharT *const q = bytes_of(b);
    const size_t at =
        folds_as_blocks<compare>() ? find_in_head(p, q, stops_of<compare>) : head_size;
    if (at == head_size)
        return difference_of_long<compare>(p, q, count);
    if (static_cast<IntT>(at) >= count)
        return 0;
    const IntT result = image<compare>(p[at]) - image<compare>(q[at]);
    return compare == Compare::exact || result != 0 || p[at] == '\0'
               ? result
               : difference_of_long<compare>(p, q, count);
}

// Returns the part of s that is as long as the suffix; null when there is none.
const char *tail(const char *s, const char *suffix)
{
    const size_t length = length_of(s);
    const size_t size = length_of(suffix);
    return length >= size ? or_empty(s) + (length - size) : nullptr;
}

// The bound of the ordering routines: a negative one counts as one character.
IntT at_least_one(IntT N)
{
    return N < 0 ? 1 : N;
}

const UCharT *skip_separators(const UCharT *p)
{
    while (*p == ' ' || *p == '-')
        ++p;
    return p;
}

} // namespace

IntT V_StrEqual(const char *a, const char *b)
{
    a = or_empty(a);
    b = or_empty(b);
    const size_t at = find_in_head(a, b, stops_of<Compare::exact>);
    return at < head_size ? a[at] == b[at] : std::strcmp(a, b) == 0;
}

IntT V_StrEqualN(const char *a, const char *b, IntT N)
{
    return N < 1 || a == b || std::strncmp(or_empty(a), or_empty(b), static_cast<size_t>(N)) == 0;
}

IntT V_StrIEqual(const char *a, const char *b)
{
    return V_StrIEqualN(a, b, all);
}

IntT V_StrIEqualN(const char *a, const char *b, IntT N)
{
    return a == b || difference<Compare::folded>(a, b, N) == 0;
}

IntT V_StrSIEqual(const char *a, const char *b)
{
    if (a == b)
        return 1;
    const UCharT *p = skip_separators(bytes_of(a));
    const UCharT *q = skip_separators(bytes_of(b));
    while (image<Compare::folded>(*p) == image<Compare::folded>(*q)) {
        if (*p == '\0' || *q == '\0')
            return 1;
        p = skip_separators(p + 1);
        q = skip_separators(q + 1);
    }
    return 0;
}

IntT V_StrCmp(const char *a, const char *b)
{
    return difference<Compare::exact>(a, b, all);
}

IntT V_StrICmp(const char *a, const char *b)
{
    return difference<Compare::folded>(a, b, all);
}

IntT V_StrCmpN(const char *a, const char *b, IntT N)
{
    return difference<Compare::exact>(a, b, at_least_one(N));
}

IntT V_StrICmpN(const char *a, const char *b, IntT N)
{
    return difference<Compare::folded>(a, b, at_least_one(N));
}

IntT V_StrMCmp(const char *a, const char *b)
{
    const IntT folded = V_StrICmp(a, b);
    return folded != 0 ? folded : V_StrCmp(a, b);
}

IntT V_StrQsortCmp(const void *pa, const void *pb)
{
    return V_StrMCmp(*static_cast<const char *const *>(pa), *static_cast<const char *const *>(pb));
}

IntT V_StrPrefix(const char *s, const char *prefix)
{
    const UCharT *const p = bytes_of(s);
    const UCharT *const q = bytes_of(prefix);
    return q[alike<Compare::exact>(p, q, unbounded)] == '\0';
}

IntT V_StrPrefixN(const char *s, const char *prefix, IntT N)
{
    return N < 1 ||
           std::strncmp(or_empty(s), or_empty(prefix),
                        std::min(static_cast<size_t>(N), std::strlen(or_empty(prefix)))) == 0;
}

IntT V_StrIPrefix(const char *s, const char *prefix)
{
    return difference<Compare::folded>(s, prefix, V_StrLen(prefix)) == 0;
}

IntT V_StrSuffix(const char *s, const char *suffix)
{
    const char *const end = tail(s, suffix);
    return end && V_StrEqual(end, suffix) != 0;
}

IntT V_StrISuffix(const char *s, const char *suffix)
{
    const char *const end = tail(s, suffix);
    return end && V_StrIEqual(end, suffix) != 0;
}
