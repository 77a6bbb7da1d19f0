// Comparing strings.

#include <algorithm>
#include <climits>
#include <cstring>

#include "vdelib/encconv/bytemaps.h"
#include "vdelib/strings/compare.h"
#include "velt/vde/quire.h"
#include "velt/vde/strings.h"

namespace
{

using namespace velt;

constexpr IntT unbounded = INT_MAX;

template <Case which>
IntT image(UCharT byte)
{
    return which == Case::folded ? VdeQToLower[byte] : byte;
}

const char *or_empty(const char *s)
{
    return s ? s : "";
}

const UCharT *bytes_of(const char *s)
{
    return reinterpret_cast<const UCharT *>(or_empty(s));
}

template <Case fold>
[[gnu::noinline]] IntT difference_from(const UCharT *p, const UCharT *q, IntT count)
{
    const bool may_skip = fold == Case::exact || VdeQToLower == standard_lower;
    while (count > 0) {
        if (may_skip) {
            const size_t skipped = alike<fold>(p, q, static_cast<size_t>(count));
            count -= static_cast<IntT>(skipped);
            if (count == 0)
                break;
            p += skipped;
            q += skipped;
        }
        if (const IntT result = image<fold>(*p) - image<fold>(*q); result != 0)
            return result;
        if (*p == '\0' || *q == '\0')
            break;
        ++p;
        ++q;
        --count;
    }
    return 0;
}

// Difference of the first bytes whose images differ among the first `count`; 0 when a string ends
// before, and for a count below 1. Most strings differ or end within two blocks, which are compared
// without a loop.
template <Case fold>
inline IntT difference(const char *a, const char *b, IntT count)
{
    const UCharT *p = bytes_of(a);
    const UCharT *q = bytes_of(b);
    if (may_load(2 * block_size, p, q) && (fold == Case::exact || VdeQToLower == standard_lower)) {
        for (IntT from : {0, block_size}) {
            const IntT run = run_of<fold, Bytes::all>(load_block(p + from), load_block(q + from));
            if (const IntT at = from + run; run < block_size) {
                if (at >= count)
                    return 0;
                const IntT result = image<fold>(p[at]) - image<fold>(q[at]);
                return result != 0 || p[at] == '\0'
                           ? result
                           : difference_from<fold>(p + at + 1, q + at + 1, count - at - 1);
            }
        }
        p += 2 * block_size;
        q += 2 * block_size;
        count -= 2 * block_size;
    }
    return difference_from<fold>(p, q, count);
}

// Returns the part of s that is as long as the suffix; null when there is none.
const char *tail(const char *s, const char *suffix)
{
    const IntT from = V_StrLen(s) - V_StrLen(suffix);
    return from >= 0 ? or_empty(s) + from : nullptr;
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
    return a == b || std::strcmp(or_empty(a), or_empty(b)) == 0;
}

IntT V_StrEqualN(const char *a, const char *b, IntT N)
{
    return N < 1 || a == b || std::strncmp(or_empty(a), or_empty(b), static_cast<size_t>(N)) == 0;
}

IntT V_StrIEqual(const char *a, const char *b)
{
    return V_StrIEqualN(a, b, unbounded);
}

IntT V_StrIEqualN(const char *a, const char *b, IntT N)
{
    return a == b || difference<Case::folded>(a, b, N) == 0;
}

IntT V_StrSIEqual(const char *a, const char *b)
{
    if (a == b)
        return 1;
    const UCharT *p = skip_separators(bytes_of(a));
    const UCharT *q = skip_separators(bytes_of(b));
    while (image<Case::folded>(*p) == image<Case::folded>(*q)) {
        if (*p == '\0' || *q == '\0')
            return 1;
        p = skip_separators(p + 1);
        q = skip_separators(q + 1);
    }
    return 0;
}

IntT V_StrCmp(const char *a, const char *b)
{
    return difference<Case::exact>(a, b, unbounded);
}

IntT V_StrICmp(const char *a, const char *b)
{
    return difference<Case::folded>(a, b, unbounded);
}

IntT V_StrCmpN(const char *a, const char *b, IntT N)
{
    return difference<Case::exact>(a, b, at_least_one(N));
}

IntT V_StrICmpN(const char *a, const char *b, IntT N)
{
    return difference<Case::folded>(a, b, at_least_one(N));
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
    return V_StrPrefixN(s, prefix, unbounded);
}

IntT V_StrPrefixN(const char *s, const char *prefix, IntT N)
{
    return N < 1 ||
           std::strncmp(or_empty(s), or_empty(prefix),
                        std::min(static_cast<size_t>(N), std::strlen(or_empty(prefix)))) == 0;
}

IntT V_StrIPrefix(const char *s, const char *prefix)
{
    return difference<Case::folded>(s, prefix, V_StrLen(prefix)) == 0;
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
