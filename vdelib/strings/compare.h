// How strings are compared, measured and copied: in blocks, and past their ends as far as that is
// safe.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "vdelib/encconv/bytemaps.h"
#include "vdelib/strings/blocks.h"
#include "velt/scalars.h"
#include "velt/vde/quire.h"

namespace velt
{

// A block that ends beyond a string's end may be loaded as long as it lies in a page of the string.
// Pages have this size or a multiple of it.
inline constexpr uintptr_t page_size = 4096;

inline uintptr_t offset_in_page(const void *p)
{
    return reinterpret_cast<uintptr_t>(p) & (page_size - 1);
}

#if defined(__SANITIZE_ADDRESS__)
#define VELT_EXACT_LOADS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VELT_EXACT_LOADS 1
#endif
#endif

// Whether blocks may end beyond strings: not where something watches that nobody reads past an end,
// that is with the address sanitizer, and under valgrind, which the library finds out as it starts.
#ifdef VELT_EXACT_LOADS
inline constexpr bool reads_ahead = false;
#else
extern const bool reads_ahead;
#endif

// nothing: bytes are alike, so that one string is examined; folded: ASCII letters are alike in
// either case.
enum class Compare { nothing, exact, folded };
enum class Bytes { all, only_ascii }; // only_ascii: others stop a run

template <size_t size>
struct UnsignedBytes {
    using type [[gnu::vector_size(size)]] = UCharT;
};

// Sets `alive` to the bytes of `a` where a run of alike bytes goes on, and to 0 where it stops: at
// the first that differ, and at the end.
template <Compare compare, class Vector>
inline void find_alive(const Vector &a, const Vector &b, Vector &alive)
{
    alive = a;
    if constexpr (compare == Compare::exact) {
        alive &= a == b;
    } else if constexpr (compare == Compare::folded) {
        // Letters in lower case become the greatest signed numbers.
        using Unsigned = typename UnsignedBytes<sizeof(Vector)>::type;
        const auto shifted = reinterpret_cast<Unsigned>(a | 0x20) + (INT8_MAX - 'z');
        const Vector case_bit = (reinterpret_cast<Vector>(shifted) > INT8_MAX - 26) & 0x20;
        alive &= ((a ^ b) | case_bit) == case_bit;
    }
}

template <Bytes which, class Vector>
inline void find_stops(const Vector &alive, Vector &stops)
{
    if constexpr (which == Bytes::all)
        stops = alive == 0;
    else
        stops = ~(alive > 0);
}

template <Compare compare, Bytes which = Bytes::all>
inline Block stops_of(Block a, Block b)
{
    Block alive, stops;
    find_alive<compare>(a, b, alive);
    find_stops<which>(alive, stops);
    return stops;
}

// Most strings end, or differ, in their first two blocks, which are examined without a loop or a
// call. Returns where the first byte is set in what `stops` makes of a block of each; head_size if
// none is, or if the blocks may not be loaded.
inline constexpr size_t head_size = 2 * block_size;
template <class Stops>
inline size_t find_in_head(const void *a, const void *b, Stops stops)
{
    const auto may_load = [](const void *p) { return offset_in_page(p) <= page_size - head_size; };
    if (!reads_ahead || !may_load(a) || !may_load(b))
        return head_size;
    const auto *const p = static_cast<const char *>(a);
    const auto *const q = static_cast<const char *>(b);
    return static_cast<size_t>(
        first_set(stops(load_block(p), load_block(q)),
                  stops(load_block(p + block_size), load_block(q + block_size))));
}

template <class Stops>
inline size_t find_in_head(const void *s, Stops stops)
{
    return find_in_head(s, s, [stops](Block block, Block) { return stops(block); });
}

// Returns the length of the run of alike bytes other than the terminator at the beginning, at most
// `limit`. Nothing behind the limit is needed, and nothing behind the first byte that differs.
template <Compare compare, Bytes which>
size_t alike_long(const UCharT *a, const UCharT *b, size_t limit);

template <Compare compare, Bytes which = Bytes::all>
inline size_t alike(const UCharT *a, const UCharT *b, size_t limit)
{
    const size_t at = find_in_head(a, b, stops_of<compare, which>);
    return at < head_size ? std::min(at, limit) : alike_long<compare, which>(a, b, limit);
}

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
    return compare != Compare::folded || VdeQToLower == standard_lower;
}

inline constexpr size_t unbounded = PTRDIFF_MAX;

inline const char *or_empty(const char *s)
{
    return s ? s : "";
}

inline size_t find_end_in_head(const char *s)
{
    return find_in_head(s, [](Block block) { return block == 0; });
}

inline size_t length_of(const char *s)
{
    s = or_empty(s);
    const size_t end = find_end_in_head(s);
    return end < head_size ? end : std::strlen(s);
}

// The length, at most `most`.
inline size_t length_within(const char *s, size_t most)
{
    const size_t end = find_end_in_head(s);
    return end < head_size ? std::min(end, most) : strnlen(s, most);
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
    if (count <= head_size)
        copy_short(dst + at, src, count);
    else
        std::memmove(dst + at, src, count);
    dst[at + count] = '\0';
    return static_cast<IntT>(at + count);
}

} // namespace velt
