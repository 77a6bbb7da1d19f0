// Blocks of bytes that are examined at once, with the compiler's vectors.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace velt
{

inline constexpr int block_size = 16;

// nothing: bytes are alike, so that one string is examined; folded: ASCII letters are alike in
// either case.
enum class Compare { nothing, exact, folded };
enum class Bytes { all, only_ascii }; // only_ascii: others stop a run of alike bytes

// As signed numbers, bytes from 0x80 on are below all others. A comparison sets all bits of the
// bytes for which it is true.
using Block = signed char __attribute__((vector_size(block_size)));

inline Block load_block(const void *from)
{
    Block block;
    std::memcpy(&block, from, sizeof block);
    return block;
}

inline void store_block(void *to, Block block)
{
    std::memcpy(to, &block, sizeof block);
}

// Copies at most two blocks. All of them is loaded before anything is stored, so that the places
// may overlap.
inline void copy_short(char *to, const char *from, size_t size)
{
    const auto ends = [=](auto first) {
        // Two that overlap.
        auto last = first;
        std::memcpy(&first, from, sizeof first);
        std::memcpy(&last, from + size - sizeof last, sizeof last);
        std::memcpy(to, &first, sizeof first);
        std::memcpy(to + size - sizeof last, &last, sizeof last);
    };
    if (size >= sizeof(Block))
        ends(Block{});
    else if (size >= sizeof(uint64_t))
        ends(uint64_t{});
    else if (size >= sizeof(uint32_t))
        ends(uint32_t{});
    else if (size >= sizeof(uint16_t))
        ends(uint16_t{});
    else if (size == 1)
        *to = *from;
}

// A bit for each byte that is set, the lowest for the first.
inline uint64_t all_set(Block comparison)
{
#ifdef __SSE2__
    return static_cast<unsigned>(_mm_movemask_epi8(reinterpret_cast<__m128i>(comparison)));
#else
    using Halves = uint64_t __attribute__((vector_size(block_size)));
    const auto halves = reinterpret_cast<Halves>(comparison);
    const auto bits = [](uint64_t half) {
        // One bit of each byte, and the sum of all bytes in the highest.
        constexpr bool is_little = std::endian::native == std::endian::little;
        return ((half & (is_little ? 0x8040201008040201 : 0x0102040810204080)) *
                0x0101010101010101) >>
               56;
    };
    return bits(halves[0]) | bits(halves[1]) << 8;
#endif
}

// The number of bytes before the first that is set; block_size if none is.
inline int first_set(Block comparison)
{
    return std::countr_zero(all_set(comparison) | uint64_t{1} << block_size);
}

} // namespace velt
