// Runs of bytes that are examined a vector at a time, and past their ends as far as that is safe.
//
// These functions are compiled into routines that have the processor's instructions for a size of
// vectors. They take vectors by their address, since how they are passed depends on the
// instructions. With bytes in place of vectors nothing is read that is not needed.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "vdelib/strings/blocks.h"
#include "velt/scalars.h"

// Under the address sanitizer nobody reads past the end of a string.
#if defined(__SANITIZE_ADDRESS__)
#define VELT_EXACT_LOADS
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VELT_EXACT_LOADS
#endif
#endif

#if defined(__x86_64__) && !defined(__clang__) && !defined(VELT_EXACT_LOADS)
#define VELT_WIDE_VECTORS
#include <immintrin.h>
#endif

namespace velt
{

// A vector that ends beyond a string's end may be loaded as long as it lies in a page of the
// string. Pages have this size or a multiple of it.
inline constexpr uintptr_t page_size = 4096;

inline uintptr_t offset_in_page(const void *p)
{
    return reinterpret_cast<uintptr_t>(p) & (page_size - 1);
}

template <size_t size>
struct Vector {
    using Signed [[gnu::vector_size(size)]] = signed char;
    using Unsigned [[gnu::vector_size(size)]] = UCharT;
};

// What stands for a vector of 32 bytes where there are only blocks.
struct Pair {
    Block one, other;

    Pair operator+(signed char byte) const { return {one + byte, other + byte}; }
    Pair operator^(const Pair &pair) const { return {one ^ pair.one, other ^ pair.other}; }
    Pair operator|(const Pair &pair) const { return {one | pair.one, other | pair.other}; }
};

// Most strings end, or differ, in their first bytes.
template <class Wide>
inline constexpr size_t head_size = sizeof(Wide) == 1 ? 1 : 32;
template <class Wide>
using Head =
    std::conditional_t<sizeof(Wide) == block_size, Pair, typename Vector<head_size<Wide>>::Signed>;

// Longer strings are examined so many bytes at a time.
template <class Wide>
inline constexpr size_t stride = std::max<size_t>(4 * sizeof(Wide), 128);

#define VELT_INLINE [[gnu::always_inline]] inline

template <class Wide>
VELT_INLINE void load(const UCharT *from, Wide &wide)
{
    std::memcpy(&wide, from, sizeof wide);
}

// The same for what is used twice, which would otherwise be loaded twice.
template <class Wide>
VELT_INLINE void load_once(const UCharT *from, Wide &wide)
{
    load(from, wide);
#if defined(__x86_64__) && !defined(__clang__)
    asm("" : "+v"(wide));
#endif
}

VELT_INLINE void load_once(const UCharT *from, Pair &pair)
{
    load_once(from, pair.one);
    load_once(from + block_size, pair.other);
}

// Sets `least` to the smaller bytes of both, as unsigned numbers or, of only ASCII, signed ones, of
// which with blocks, that have no instruction for those, only the signs are right.
template <Bytes which, class Wide>
VELT_INLINE void take_least(const Wide &other, Wide &least)
{
    if constexpr (which == Bytes::only_ascii && sizeof(Wide) == block_size) {
        least &= other > 0;
        return;
    }
    using Unsigned = typename Vector<sizeof(Wide)>::Unsigned;
    using Ordered = std::conditional_t<which == Bytes::all, Unsigned, Wide>;
    const auto a = reinterpret_cast<Ordered>(other);
    const auto b = reinterpret_cast<Ordered>(least);
    least = reinterpret_cast<Wide>(a < b ? a : b);
}

template <Bytes which>
VELT_INLINE void take_least(const Pair &other, Pair &least)
{
    take_least<which>(other.one, least.one);
    take_least<which>(other.other, least.other);
}

// Sets `differences` to bytes that are 0 where those of both are alike.
template <Compare compare, class Wide>
VELT_INLINE void find_differences(const Wide &a, const UCharT *b, Wide &differences)
{
    differences = Wide{};
    if constexpr (compare == Compare::nothing)
        return;
    Wide other;
    load(b, other);
    differences = a ^ other;
    if constexpr (compare == Compare::folded) {
        // Of two that differ in their case only this is the letter in lower case, and these become
        // the greatest signed numbers.
        using Unsigned = typename Vector<sizeof(Wide)>::Unsigned;
        const auto lower = reinterpret_cast<Unsigned>(a | other) + (INT8_MAX - 'z');
        const Wide case_bit = (reinterpret_cast<Wide>(lower) > INT8_MAX - 26) & 0x20;
        differences &= ~case_bit;
    }
}

template <Compare compare>
VELT_INLINE void find_differences(const Pair &a, const UCharT *b, Pair &differences)
{
    find_differences<compare>(a.one, b, differences.one);
    find_differences<compare>(a.other, b + block_size, differences.other);
}

// Where a run first stops: at a difference, at the end or where the bytes are not ASCII. The size
// of the vectors if it goes on.
template <Bytes which, class Wide>
VELT_INLINE size_t first_stop(const Wide &a, const Wide &differences)
{
    const Wide alive = a & (differences == 0);
    uint64_t bits = 0;
    if constexpr (sizeof(Wide) == block_size) {
        return static_cast<size_t>(first_set(which == Bytes::all ? alive == 0 : ~(alive > 0)));
#ifdef VELT_WIDE_VECTORS
    } else if constexpr (sizeof(Wide) == 32) {
        const Wide stops = which == Bytes::all ? alive == 0 : ~(alive > 0);
        bits = static_cast<unsigned>(__builtin_ia32_pmovmskb256(reinterpret_cast<__v32qi>(stops)));
    } else {
        // The compiler would make a vector of the mask that this is, and a mask again.
        constexpr int less_or_equal = 2;
        const auto bytes = reinterpret_cast<__v64qi>(alive);
        bits = which == Bytes::all
                   ? __builtin_ia32_ptestnmb512(bytes, bytes, ~uint64_t{})
                   : __builtin_ia32_cmpb512_mask(bytes, __v64qi{}, less_or_equal, ~uint64_t{});
#endif
    }
    return bits == 0 ? sizeof(Wide) : static_cast<size_t>(std::countr_zero(bits));
}

// Where a byte is first set in either; their size if none is.
VELT_INLINE size_t first_set_of(const Pair &pair)
{
#ifdef __SSE2__
    const auto one = _mm_movemask_epi8(reinterpret_cast<__m128i>(pair.one));
    const auto other = _mm_movemask_epi8(reinterpret_cast<__m128i>(pair.other));
    const uint64_t bits = static_cast<uint64_t>(other) << block_size | static_cast<unsigned>(one);
    return static_cast<size_t>(std::countr_zero(bits | uint64_t{1} << 2 * block_size));
#else
    const int first = first_set(pair.one);
    return static_cast<size_t>(first < block_size ? first : block_size + first_set(pair.other));
#endif
}

template <Bytes which>
VELT_INLINE size_t first_stop(const Pair &a, const Pair &differences)
{
    const Block one = a.one & (differences.one == 0);
    const Block other = a.other & (differences.other == 0);
    return which == Bytes::all ? first_set_of(Pair{one == 0, other == 0})
                               : first_set_of(Pair{~(one > 0), ~(other > 0)});
}

template <class Wide, Compare compare, Bytes which>
VELT_INLINE size_t stop_in(const UCharT *a, const UCharT *b)
{
    Wide one, differences;
    load_once(a, one);
    find_differences<compare>(one, b, differences);
    return first_stop<which>(one, differences);
}

// Where a run stops in the first bytes; head_size if it goes on, or if the vectors may not be
// loaded.
template <class Wide, Compare compare = Compare::nothing, Bytes which = Bytes::all>
VELT_INLINE size_t stop_in_head(const UCharT *a, const UCharT *b)
{
    if constexpr (sizeof(Wide) > 1) {
        constexpr uintptr_t last = page_size - head_size<Wide>;
        if (offset_in_page(a) <= last && offset_in_page(b) <= last) [[likely]]
            return stop_in<Head<Wide>, compare, which>(a, b);
    }
    return head_size<Wide>;
}

template <class Wide, Compare compare, Bytes which>
VELT_INLINE size_t stop_in_stride(const UCharT *a, const UCharT *b)
{
#pragma GCC unroll 4
    for (size_t start = 0; start < stride<Wide>; start += sizeof(Wide)) {
        const size_t at = stop_in<Wide, compare, which>(a + start, b + start);
        if (at < sizeof(Wide))
            return start + at;
    }
    return stride<Wide>;
}

// Loads bytes of both, and sets `differences` as above or, where that takes fewer steps, none, and
// the bytes of a to 0 where they differ.
template <Compare compare, class Wide>
VELT_INLINE void load_both(const UCharT *a, const UCharT *b, Wide &bytes, Wide &differences)
{
    load_once(a, bytes);
    find_differences<compare>(bytes, b, differences);
    if constexpr (compare == Compare::exact && sizeof(Wide) == 32) {
        bytes &= differences == 0;
        differences = Wide{};
    }
}

// Whether it stops there: at the least bytes of all, or at a difference in any.
template <class Wide, Compare compare, Bytes which>
VELT_INLINE bool stops_in_stride(const UCharT *a, const UCharT *b)
{
    Wide least, differences;
    load_both<compare>(a, b, least, differences);
#pragma GCC unroll 4
    for (size_t start = sizeof(Wide); start < stride<Wide>; start += sizeof(Wide)) {
        Wide next, more;
        load_both<compare>(a + start, b + start, next, more);
        differences |= more;
        take_least<which>(next, least);
    }
    return first_stop<which>(least, differences) < sizeof(Wide);
}

template <Compare compare, Bytes which>
inline bool stops_at(UCharT a, UCharT b)
{
    if (a == '\0' || (which == Bytes::only_ascii && a > INT8_MAX))
        return true;
    if (compare == Compare::nothing || a == b)
        return false;
    const auto lower = static_cast<UCharT>(a | 0x20);
    return compare == Compare::exact || lower != (b | 0x20) || lower < 'a' || lower > 'z';
}

// The number of bytes before a run stops; the limit or more if it goes on as far as that. Nothing
// behind the limit, or behind the first byte that differs, is needed.
template <class Wide, Compare compare, Bytes which>
VELT_INLINE size_t run(const UCharT *a, const UCharT *b, size_t limit)
{
    size_t length = 0;
    if constexpr (sizeof(Wide) == 1) {
        while (length < limit && !stops_at<compare, which>(a[length], b[length]))
            ++length;
        return length;
    } else {
        constexpr size_t width = sizeof(Wide), head = head_size<Wide>;
        constexpr uintptr_t last_begin = page_size - 2 * head - stride<Wide>;
        if (offset_in_page(a) <= last_begin && offset_in_page(b) <= last_begin) [[likely]] {
            size_t at = stop_in<Head<Wide>, compare, which>(a, b);
            if (at < head) [[likely]]
                return at;
            // Vectors that begin at a multiple of their size are loaded faster.
            length = head - reinterpret_cast<uintptr_t>(a) % head;
            if (width > head && reinterpret_cast<uintptr_t>(a + length) % width != 0) {
                at = stop_in<Head<Wide>, compare, which>(a + length, b + length);
                if (at < head)
                    return length + at;
                length += head;
            }
            at = stop_in_stride<Wide, compare, which>(a + length, b + length);
            if (at < stride<Wide>)
                return length + at;
            length += stride<Wide>;
        }
        while (length < limit) {
            // How many bytes lie in the same pages as the next.
            const size_t left =
                page_size - std::max(offset_in_page(a + length), offset_in_page(b + length));
            const size_t end = length + left;
            if (left >= stride<Wide>) {
                const size_t last = std::min(end - stride<Wide>, limit);
                while (length <= last &&
                       !stops_in_stride<Wide, compare, which>(a + length, b + length))
                    length += stride<Wide>;
                if (length <= last)
                    return length + stop_in_stride<Wide, compare, which>(a + length, b + length);
            } else if (end < width) {
                if (stops_at<compare, which>(a[length], b[length]))
                    return length;
                ++length;
            } else {
                while (length < std::min(end, limit)) {
                    // The bytes that end with the page begin with some that are known.
                    length = std::min(length, end - width);
                    const size_t at = stop_in<Wide, compare, which>(a + length, b + length);
                    if (at < width)
                        return length + at;
                    length += width;
                }
            }
        }
        return length;
    }
}

// Where a vector has the end, or the byte for which it is searched and no difference elsewhere.
template <class Wide>
VELT_INLINE size_t first_or_end(const UCharT *s, const Wide &byte, const Wide &differences)
{
    Wide bytes;
    load_once(s, bytes);
    Wide least = (bytes ^ byte) | differences;
    take_least<Bytes::all>(bytes, least);
    return first_stop<Bytes::all>(least, Wide{});
}

// Loads the rest of a string, two vectors at a time from those of that number on, and then stores
// all of it, so that the places may overlap. Returns its length; `none`, and stores nothing, if
// that is above `most` or the string has more vectors. A vector before the rest is known to have no
// end.
inline constexpr size_t none = SIZE_MAX;
inline constexpr size_t vectors_copied = 18;
template <class Wide, size_t number = 0>
VELT_INLINE size_t copy_rest(char *to, const UCharT *from, size_t most)
{
    constexpr size_t width = sizeof(Wide);
    constexpr size_t at = number * width;
    if constexpr (number == vectors_copied) {
        return none;
    } else {
        Wide one, other;
        load(from + at, one);
        load(from + at + width, other);
        Wide least = one;
        take_least<Bytes::all>(other, least);
        if (first_stop<Bytes::all>(least, Wide{}) == width) {
            const size_t length = copy_rest<Wide, number + 2>(to, from, most);
            if (length != none) {
                std::memcpy(to + at + width, &other, width);
                std::memcpy(to + at, &one, width);
            }
            return length;
        }
        size_t end = first_stop<Bytes::all>(one, Wide{});
        const bool is_behind = end == width;
        if (is_behind)
            end += first_stop<Bytes::all>(other, Wide{});
        const size_t length = at + end;
        if (length > most)
            return none;
        // The vector that ends with the string begins with bytes that are known.
        load(from + length + 1 - width, other);
        std::memcpy(to + length + 1 - width, &other, width);
        if (is_behind)
            std::memcpy(to + at, &one, width);
        return length;
    }
}

} // namespace velt
