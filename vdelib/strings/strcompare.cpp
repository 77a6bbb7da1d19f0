// Comparing strings.

#include <algorithm>
#include <climits>

#include "velt/vde/quire.h"
#include "velt/vde/strings.h"

namespace
{

constexpr IntT unbounded = INT_MAX;

using Map = UCharT (*)(UCharT);

UCharT exact(UCharT byte)
{
    return byte;
}

UCharT fold(UCharT byte)
{
    return VdeQToLower[byte];
}

const UCharT *bytes_of(const char *s)
{
    return reinterpret_cast<const UCharT *>(s ? s : "");
}

// Difference of the first bytes whose images differ among the first `count`; 0 when a string ends
// before, and for a count below 1.
template <Map image>
IntT difference(const char *a, const char *b, IntT count)
{
    const UCharT *p = bytes_of(a);
    const UCharT *q = bytes_of(b);
    for (; count > 0; ++p, ++q, --count) {
        if (const IntT result = image(*p) - image(*q); result != 0)
            return result;
        if (*p == '\0' || *q == '\0')
            break;
    }
    return 0;
}

template <Map image>
bool begins_with(const char *s, const char *prefix, IntT count)
{
    return difference<image>(s, prefix, std::min(count, V_StrLen(prefix))) == 0;
}

template <Map image>
bool ends_with(const char *s, const char *suffix)
{
    const IntT from = V_StrLen(s) - V_StrLen(suffix);
    return V_StrLen(suffix) == 0 ||
           (s && from >= 0 && difference<image>(s + from, suffix, unbounded) == 0);
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
    return V_StrEqualN(a, b, unbounded);
}

IntT V_StrEqualN(const char *a, const char *b, IntT N)
{
    return a == b || difference<exact>(a, b, N) == 0;
}

IntT V_StrIEqual(const char *a, const char *b)
{
    return V_StrIEqualN(a, b, unbounded);
}

IntT V_StrIEqualN(const char *a, const char *b, IntT N)
{
    return a == b || difference<fold>(a, b, N) == 0;
}

IntT V_StrSIEqual(const char *a, const char *b)
{
    if (a == b)
        return 1;
    const UCharT *p = skip_separators(bytes_of(a));
    const UCharT *q = skip_separators(bytes_of(b));
    while (fold(*p) == fold(*q)) {
        if (*p == '\0' || *q == '\0')
            return 1;
        p = skip_separators(p + 1);
        q = skip_separators(q + 1);
    }
    return 0;
}

IntT V_StrCmp(const char *a, const char *b)
{
    return difference<exact>(a, b, unbounded);
}

IntT V_StrICmp(const char *a, const char *b)
{
    return difference<fold>(a, b, unbounded);
}

IntT V_StrCmpN(const char *a, const char *b, IntT N)
{
    return difference<exact>(a, b, at_least_one(N));
}

IntT V_StrICmpN(const char *a, const char *b, IntT N)
{
    return difference<fold>(a, b, at_least_one(N));
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
    return begins_with<exact>(s, prefix, unbounded);
}

IntT V_StrPrefixN(const char *s, const char *prefix, IntT N)
{
    return begins_with<exact>(s, prefix, N);
}

IntT V_StrIPrefix(const char *s, const char *prefix)
{
    return begins_with<fold>(s, prefix, unbounded);
}

IntT V_StrSuffix(const char *s, const char *suffix)
{
    return ends_with<exact>(s, suffix);
}

IntT V_StrISuffix(const char *s, const char *suffix)
{
    return ends_with<fold>(s, suffix);
}
