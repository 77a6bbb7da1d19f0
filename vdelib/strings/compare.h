// How strings are compared, measured and copied: in blocks, and past their ends as far as that is
// safe.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "vdelib/encconv/bytemaps.h"
#include "vdelib/strings/blocks.h"
#include "velt/scalars.h"
#include "velt/vde/quire.h"

namespace velt
{

// nothing: bytes are alike, so that one string is examined; folded: ASCII letters are alike in
// either case.
enum class Compare { nothing, exact, folded };
enum class Bytes { all, only_ascii }; // only_ascii: others stop a run

// The routines in the version that the processor runs fastest. A run of alike bytes ends with the
// terminator. Nothing behind the limit, or behind the first byte that differs, is needed.
struct StringRoutines {
    using Run = size_t(const UCharT *a, const UCharT *b, size_t limit);
    using Comparison = IntT(const UCharT *a, const UCharT *b, size_t limit);

    IntT (*size)(const UCharT *s);
    size_t (*length)(const UCharT *s, size_t limit);
    size_t (*ascii)(const UCharT *s,
                    size_t limit);         // the number of ASCII characters at the beginning
    Run *ascii_alike, *ascii_alike_folded; // the number of those that are alike
    Comparison *difference, *difference_folded, *long_difference_folded;
    Comparison *is_equal;
    Comparison *is_prefix; // whether the first begins with the second, as far as the limit
};
extern StringRoutines string_routines;

// What compares the bytes themselves or, folded, their images in the case table.
template <Compare compare>
inline IntT image(UCharT byte)
{
    return compare == Compare::folded ? VdeQToLower[byte] : byte;
}

// Whether the images of ASCII letters are those that blocks take for alike.
template <Compare compare>
inline bool folds_as_blocks()
{
    return compare != Compare::folded || VdeQToLower == standard_lower.data();
}

inline constexpr size_t unbounded = PTRDIFF_MAX;

inline const char *or_empty(const char *s)
{
    return s ? s : "";
}

inline const UCharT *bytes_of(const char *s)
{
    return reinterpret_cast<const UCharT *>(or_empty(s));
}

inline IntT compare(StringRoutines::Comparison *comparison, const char *a, const char *b,
                    size_t limit)
{
    // A jump that is not taken costs less than a choice of addresses.
    if (!a || !b) [[unlikely]]
        return comparison(bytes_of(a), bytes_of(b), limit);
    return comparison(reinterpret_cast<const UCharT *>(a), reinterpret_cast<const UCharT *>(b),
                      limit);
}

// The length, at most `most`.
inline size_t length_within(const char *s, size_t most)
{
    return string_routines.length(bytes_of(s), most);
}

inline size_t length_of(const char *s)
{
    return length_within(s, unbounded);
}

// How many characters a buffer of N bytes holds.
inline size_t room_of(IntT N)
{
    return N > 1 ? static_cast<size_t>(N) - 1 : 0;
}

// Copies the first `count` bytes of src to dst[at], terminates dst after them and returns its
// length. The two may overlap, so that a string can be moved inside itself.
inline IntT put(char *dst, size_t at, const char *src, size_t count)
{
    if (count <= 2 * sizeof(Block))
        copy_short(dst + at, src, count);
    else
        std::memmove(dst + at, src, count);
    dst[at + count] = '\0';
    return static_cast<IntT>(at + count);
}

} // namespace velt
