// How strings are compared and examined: in blocks, and past their ends as far as that is safe.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "vdelib/strings/blocks.h"
#include "velt/scalars.h"

namespace velt
{

// A block that ends beyond a string's end may be loaded as long as it lies in a page of the string.
// Pages have this size or a multiple of it.
inline constexpr uintptr_t page_size = 4096;

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

// The number of bytes from both places on that lie in the same pages as they.
inline size_t left_in_pages(const UCharT *a, const UCharT *b)
{
    const auto left = [](const UCharT *p) {
        return page_size - (reinterpret_cast<uintptr_t>(p) & (page_size - 1));
    };
    return std::min(left(a), left(b));
}

// Whether so many bytes from both places on do.
inline bool may_load(size_t size, const UCharT *a, const UCharT *b)
{
    const auto fits = [size](const UCharT *p) {
        return (reinterpret_cast<uintptr_t>(p) & (page_size - 1)) <= page_size - size;
    };
    return reads_ahead && fits(a) && fits(b);
}

enum class Case { exact, folded };    // folded: ASCII letters are alike in either case
enum class Bytes { all, only_ascii }; // only_ascii: others stop a run

// Sets the bytes at which a run of alike bytes goes on, and clears those at which it stops.
template <Case fold, Bytes which, class Vector>
inline void find_alike(const Vector &a, const Vector &b, Vector &alive)
{
    Vector differences = a ^ b;
    if constexpr (fold == Case::folded) {
        const Vector lower = a | 0x20;
        differences &= ~(((lower >= 'a') & (lower <= 'z')) & 0x20);
    }
    alive = (differences == 0) & a;
    if constexpr (which == Bytes::only_ascii)
        alive &= a > 0;
}

// Returns the number of bytes before the first at which a run stops; block_size if it does not.
template <Case fold, Bytes which>
inline int run_of(Block a, Block b)
{
    Block alive;
    find_alike<fold, which>(a, b, alive);
    return first_set(alive == 0);
}

// Returns how many of these bytes, in whole strides, have no stop; fast for long strings.
inline constexpr size_t stride = 128;
template <Case fold, Bytes which>
size_t whole_strides(const UCharT *a, const UCharT *b, size_t size);

// Returns the length of the run of alike bytes other than the terminator at the beginning, at most
// `limit`. Nothing behind the limit is needed, and nothing behind the first byte that differs.
template <Case fold, Bytes which = Bytes::all>
inline size_t alike(const UCharT *a, const UCharT *b, size_t limit)
{
    size_t length = 0;
    while (length < limit) {
        size_t left = reads_ahead ? left_in_pages(a + length, b + length) : 0;
        if (left < block_size) {
            const size_t back = block_size - left;
            if (!reads_ahead || length < back) {
                const Block one_a = {static_cast<signed char>(a[length])};
                const Block one_b = {static_cast<signed char>(b[length])};
                if (run_of<fold, which>(one_a, one_b) == 0)
                    return length;
                ++length;
                continue;
            }
            // The block that ends with the page begins with bytes that are known.
            length -= back;
            left = block_size;
        }
        for (int blocks = 1; left >= block_size && length < limit; ++blocks) {
            const auto run = static_cast<size_t>(
                run_of<fold, which>(load_block(a + length), load_block(b + length)));
            // Only a stop's place depends on what was loaded, so that blocks need not wait for each
            // other.
            if (run < block_size)
                return std::min(length + run, limit);
            length += block_size;
            left -= block_size;
            if (blocks == 2 && left >= stride && length < limit) {
                const size_t whole = whole_strides<fold, which>(a + length, b + length,
                                                                std::min(left, limit - length));
                length += whole;
                left -= whole;
            }
        }
    }
    return std::min(length, limit);
}

} // namespace velt
