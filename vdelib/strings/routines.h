// The string routines in the version that the processor runs fastest, and what is shared around
// them.
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "vdelib/encconv/bytemaps.h"
#include "vdelib/strings/blocks.h"
#include "velt/scalars.h"
#include "velt/vde/quire.h"

namespace velt
{

// No string is null, and its first byte may be read, also where the limit is 0. Nothing behind a
// limit, or behind the first byte that differs, is needed.
struct StringRoutines {
    using Comparison = IntT(const UCharT *a, const UCharT *b, size_t limit);
    using EncodedComparison = IntT(const UCharT *a, const UCharT *b, size_t limit, UIntT enc);
    using CharacterComparison = IntT(const UCharT *a, const UCharT *b, size_t limit, UIntT enc,
                                     EncodedComparison *others);
    using Test = IntT(const UCharT *s, const UCharT *other);
    using Put = size_t(char *to, size_t at, const UCharT *src, size_t most, const void *aligned);
    using Search = const UCharT *(const UCharT *s, const UCharT *sub);

    IntT (*size)(const UCharT *s), (*long_size)(const UCharT *s);
    size_t (*length)(const UCharT *s, size_t limit);
    // The number of bytes at the beginnings of both that are alike; of ASCII characters that are.
    size_t (*alike)(const UCharT *a, const UCharT *b, size_t limit);
    size_t (*ascii_alike_folded)(const UCharT *a, const UCharT *b, size_t limit);
    // The number of characters.
    IntT (*characters)(const UCharT *s, UIntT enc);
    // How far, from `begin` on, where a character begins, both have the same characters but for the
    // cases of ASCII letters, or less.
    size_t (*alike_characters)(const UCharT *a, const UCharT *b, size_t begin, size_t limit,
                               UIntT enc);
    // The first of the bytes before `at` that can each begin a two-byte character, not before
    // `begin`.
    const UCharT *(*row_before)(const UCharT *at, const UCharT *begin, UIntT enc);

    Test *whole_difference, *whole_is_equal; // without a limit, which takes a cycle
    Comparison *difference, *long_difference, *difference_folded, *long_difference_folded;
    // Folded, or else the exact one.
    Test *difference_in_cases, *long_difference_in_cases;
    // Of characters where that is told by their first bytes; else what `others` makes of them.
    CharacterComparison *encoded_difference, *encoded_difference_folded;
    Comparison *is_equal, *long_is_equal, *is_equal_folded, *long_is_equal_folded;
    Comparison *is_prefix;
    Test *is_prefix_folded, *long_is_prefix_folded;
    Test *is_suffix, *is_suffix_folded;
    Search *tail;           // the part of s that is as long as the other; null when s is shorter
    Test *find, *find_long; // the index of sub, which is not empty; -1 when it is not there
    const UCharT *(*find_pair)(const UCharT *s, UCharT first, UCharT second);

    // Copies at most so many bytes of src to `to`, which is dst[at], terminates dst after them and
    // returns its length. The two may overlap, so that a string can be moved inside itself.
    // `aligned` is what vectors begin with, dst or src: the one that is known earlier.
    Put *put, *put_long, *put_measured;
    // Puts src behind dst as far as there is room, which is for the whole length.
    size_t (*append)(char *dst, const UCharT *src, size_t room);
    size_t (*append_to_long)(char *dst, const UCharT *src, size_t room);
};
// Hidden, so that its place is known and need not be loaded.
[[gnu::visibility("hidden")]] extern StringRoutines string_routines;

// The versions that can run here, of which the last is used.
std::span<const StringRoutines> string_routine_versions();

// What compares the bytes themselves or, folded, their images in the case table.
template <Compare compare>
inline IntT image(UCharT byte)
{
    return compare == Compare::folded ? VdeQToLower[byte] : byte;
}

// Whether the images of ASCII letters are those that vectors take for alike.
template <Compare compare>
inline bool folds_as_vectors()
{
    return compare != Compare::folded || VdeQToLower == standard_lower.data();
}

inline constexpr size_t unbounded = SIZE_MAX;

inline const char *or_empty(const char *s)
{
    return s ? s : "";
}

inline const UCharT *bytes_of(const char *s)
{
    return reinterpret_cast<const UCharT *>(or_empty(s));
}

inline IntT compare(auto *routine, const char *a, const char *b, std::same_as<size_t> auto... limit)
{
    // A jump that is not taken costs less than a choice of addresses.
    if (!a || !b) [[unlikely]]
        return routine(bytes_of(a), bytes_of(b), limit...);
    return routine(reinterpret_cast<const UCharT *>(a), reinterpret_cast<const UCharT *>(b),
                   limit...);
}

// The length, at most `most`.
inline size_t length_within(const char *s, size_t most)
{
    return most == 0 ? 0 : string_routines.length(bytes_of(s), most);
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

} // namespace velt
