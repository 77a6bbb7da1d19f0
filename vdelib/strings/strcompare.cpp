// Comparing strings.

#include "vdelib/strings/routines.h"
#include "velt/vde/strings.h"

namespace
{

using namespace velt;

// Whether it is true of the first N characters, as it is of none, and of a string and itself.
IntT holds(StringRoutines::Comparison *comparison, const char *a, const char *b, IntT N)
{
    return N < 1 || a == b ? 1 : compare(comparison, a, b, static_cast<size_t>(N));
}

// The difference among the first N characters; a negative N counts as 1.
IntT difference(StringRoutines::Comparison *comparison, const char *a, const char *b, IntT N)
{
    if (N > 0) [[likely]]
        return compare(comparison, a, b, static_cast<size_t>(N));
    return N == 0 ? 0 : compare(comparison, a, b, size_t{1});
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
    return compare(string_routines.whole_is_equal, a, b);
}

IntT V_StrEqualN(const char *a, const char *b, IntT N)
{
    return holds(string_routines.is_equal, a, b, N);
}

IntT V_StrIEqual(const char *a, const char *b)
{
    return compare(string_routines.is_equal_folded, a, b, unbounded);
}

IntT V_StrIEqualN(const char *a, const char *b, IntT N)
{
    return holds(string_routines.is_equal_folded, a, b, N);
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
    return compare(string_routines.whole_difference, a, b);
}

IntT V_StrICmp(const char *a, const char *b)
{
    return compare(string_routines.difference_folded, a, b, unbounded);
}

IntT V_StrCmpN(const char *a, const char *b, IntT N)
{
    return difference(string_routines.difference, a, b, N);
}

IntT V_StrICmpN(const char *a, const char *b, IntT N)
{
    return difference(string_routines.difference_folded, a, b, N);
}

IntT V_StrMCmp(const char *a, const char *b)
{
    return string_routines.difference_in_cases(bytes_of(a), bytes_of(b));
}

IntT V_StrQsortCmp(const void *pa, const void *pb)
{
    return V_StrMCmp(*static_cast<const char *const *>(pa), *static_cast<const char *const *>(pb));
}

IntT V_StrPrefix(const char *s, const char *prefix)
{
    return compare(string_routines.is_prefix, s, prefix, unbounded);
}

IntT V_StrPrefixN(const char *s, const char *prefix, IntT N)
{
    return holds(string_routines.is_prefix, s, prefix, N);
}

IntT V_StrIPrefix(const char *s, const char *prefix)
{
    return string_routines.is_prefix_folded(bytes_of(s), bytes_of(prefix));
}

IntT V_StrSuffix(const char *s, const char *suffix)
{
    return string_routines.is_suffix(bytes_of(s), bytes_of(suffix));
}

IntT V_StrISuffix(const char *s, const char *suffix)
{
    return string_routines.is_suffix_folded(bytes_of(s), bytes_of(suffix));
}
