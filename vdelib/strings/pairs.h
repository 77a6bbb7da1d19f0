// Where the two-byte characters of a string are, a vector at a time.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "vdelib/encode/fontenc.h"
#include "vdelib/strings/vectors.h"

namespace velt
{

// As many bytes as a mask has bits; the lowest is that of the first.
inline constexpr size_t group_size = 64;

inline constexpr ByteRange terminator{0, 1}, case_bit{0x20, 1}, small_letters{'a', 26};

// Sets a bit for each byte in the range.
template <class Wide>
VELT_INLINE uint64_t bits_in(const Wide &bytes, ByteRange range)
{
    using Unsigned = typename Vector<sizeof(Wide)>::Unsigned;
    const auto places = reinterpret_cast<Unsigned>(bytes) - range.low;
    const Unsigned sizes = Unsigned{} + range.size;
#ifdef VELT_WIDE_VECTORS
    if constexpr (sizeof(Wide) == 64) {
        constexpr int less = 1;
        return __builtin_ia32_ucmpb512_mask(reinterpret_cast<__v64qi>(places),
                                            reinterpret_cast<__v64qi>(sizes), less, ~uint64_t{});
    }
#endif
    const auto are_in = reinterpret_cast<Wide>(places < sizes);
#ifdef VELT_WIDE_VECTORS
    if constexpr (sizeof(Wide) == 32)
        return static_cast<unsigned>(__builtin_ia32_pmovmskb256(reinterpret_cast<__v32qi>(are_in)));
#endif
    if constexpr (sizeof(Wide) == block_size)
        return all_set(are_in);
}

template <class Wide>
VELT_INLINE uint64_t first_bytes(const Wide &bytes, const ByteClasses &classes)
{
    const Wide flipped = bytes ^ static_cast<signed char>(classes.flipped);
    return bits_in<Wide>(flipped, classes.first);
}

// Of bytes that can begin a pair, and a byte before the first that may have begun one, those behind
// the beginnings of pairs. What can begin a pair can end one, too, so that bytes in a row are
// beginnings and ends by turns. The subtraction borrows through each row; what that has changed of
// the odd bits tells where the row began.
VELT_INLINE uint64_t behind_beginnings(uint64_t first, uint64_t is_begun)
{
    constexpr uint64_t odd = 0xAAAAAAAAAAAAAAAA;
    const uint64_t rows = first & ~is_begun;
    return (((rows << 1 | odd) - rows) ^ odd) ^ (first | is_begun);
}

// Whether the last byte of a group begins a pair; with the same.
VELT_INLINE uint64_t is_begun_behind(uint64_t first, uint64_t is_begun)
{
    return static_cast<uint64_t>(std::countl_one(first & ~is_begun)) & 1;
}

template <class Wide>
VELT_INLINE size_t count_characters(const UCharT *s, const ByteClasses &classes)
{
    // A group that begins at a multiple of its size lies in one page.
    const size_t before = reinterpret_cast<uintptr_t>(s) % group_size;
    const UCharT *from = s - before;
    uint64_t known = ~uint64_t{} << before;
    uint64_t is_begun = 0; // a pair, by the last byte of the group before
    size_t pairs = 0;
    for (;;) {
        uint64_t first = 0, second = 0, gap = 0, ends = 0;
#pragma GCC unroll 4
        for (size_t at = 0; at < group_size; at += sizeof(Wide)) {
            Wide bytes;
            load_once(from + at, bytes);
            first |= first_bytes<Wide>(bytes, classes) << at;
            second |= bits_in<Wide>(bytes, classes.second) << at;
            gap |= bits_in<Wide>(bytes, classes.gap) << at;
            ends |= bits_in<Wide>(bytes, terminator) << at;
        }
        first &= known;
        ends &= known;
        known = ~uint64_t{};
        const uint64_t ends_of_pairs = behind_beginnings(first, is_begun) & second & ~gap;
        if (ends != 0) {
            const auto end = static_cast<size_t>(std::countr_zero(ends));
            pairs += static_cast<size_t>(std::popcount(ends_of_pairs & ~(~uint64_t{} << end)));
            return static_cast<size_t>(from - s) + end - pairs;
        }
        pairs += static_cast<size_t>(std::popcount(ends_of_pairs));
        is_begun = is_begun_behind(first, is_begun);
        from += group_size;
    }
}

// From `begin` on, where a character begins, as far as the first that differs in any other way than
// a letter of one byte in its case, or ends both, or has the limit behind its first byte; `begin`
// if the strings may not be loaded from there.
template <class Wide>
VELT_INLINE size_t alike_characters(const UCharT *a, const UCharT *b, size_t begin, size_t limit,
                                    const ByteClasses &classes)
{
    // Letters of both cases can end pairs, or none.
    const uint64_t letters_end = classes.second.has('a') ? ~uint64_t{} : 0;
    size_t at = begin;
    uint64_t is_begun = 0;
    while (at < limit) {
        // A group that ends with a page begins with bytes that are known.
        const size_t left = page_size - std::max(offset_in_page(a + at), offset_in_page(b + at));
        const size_t known = left < group_size ? group_size - left : 0;
        if (known > at)
            break;
        const size_t from = at - known;
        uint64_t first = 0, alike = 0, in_case = 0, ends = 0;
#pragma GCC unroll 4
        for (size_t part = 0; part < group_size; part += sizeof(Wide)) {
            Wide bytes, other;
            load_once(a + from + part, bytes);
            load_once(b + from + part, other);
            const Wide difference = bytes ^ other, lower = bytes | other;
            first |= first_bytes<Wide>(bytes, classes) << part;
            ends |= bits_in<Wide>(bytes, terminator) << part;
            alike |= bits_in<Wide>(difference, terminator) << part;
            in_case |= (bits_in<Wide>(difference, case_bit) & bits_in<Wide>(lower, small_letters))
                       << part;
        }
        const uint64_t next = ~uint64_t{} << known;
        first &= next;
        const uint64_t inside = behind_beginnings(first, is_begun << known);
        const uint64_t stops = (ends | ~(alike | (in_case & ~(inside & letters_end)))) & next;
        const size_t end = std::min(static_cast<size_t>(std::countr_zero(stops)), limit - from);
        if (end < group_size)
            return from + end - (inside >> end & 1);
        is_begun = is_begun_behind(first, is_begun << known);
        at = from + group_size;
    }
    return at - is_begun;
}

// The first of the bytes before `at` that can each begin a pair, not before `begin`.
template <class Wide>
VELT_INLINE const UCharT *row_of_first_bytes(const UCharT *begin, const UCharT *at,
                                             const ByteClasses &classes)
{
    constexpr ptrdiff_t width = sizeof(Wide);
    for (;;) {
        const ptrdiff_t size = std::min(at - begin, width);
        const UCharT *const from = at - size;
        if (size < width && (size == 0 || offset_in_page(from) > page_size - sizeof(Wide)))
            break;
        Wide bytes;
        load(from, bytes);
        const int row = std::countl_one(first_bytes<Wide>(bytes, classes) << (64 - size));
        at -= row;
        if (row < width)
            return at;
    }
    while (at > begin && classes.first.has(at[-1] ^ classes.flipped))
        --at;
    return at;
}

} // namespace velt
