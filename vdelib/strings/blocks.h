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

// The number of bytes before the first that is set; block_size if none is.
inline int first_set(Block comparison)
{
#ifdef __SSE2__
    const auto bits =
        static_cast<unsigned>(_mm_movemask_epi8(reinterpret_cast<__m128i>(comparison)));
    return std::countr_zero(bits | 1U << block_size);
#else
    using Halves = uint64_t __attribute__((vector_size(block_size)));
    const auto halves = reinterpret_cast<Halves>(comparison);
    const auto first = [](uint64_t half) {
        return (std::endian::native == std::endian::little ? std::countr_zero(half)
                                                           : std::countl_zero(half)) /
               8;
    };
    return halves[0] != 0 ? first(halves[0]) : 8 + first(halves[1]);
#endif
}

} // namespace velt
