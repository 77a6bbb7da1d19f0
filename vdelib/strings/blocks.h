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

// Stores the first `count` bytes, fewer than all.
inline void store_part(char *to, Block block, size_t count)
{
    char bytes[block_size];
    store_block(bytes, block);
    const auto halves = [&](auto word) {
        // Two words that overlap.
        std::memcpy(&word, bytes + count - sizeof word, sizeof word);
        const auto last = word;
        std::memcpy(to, bytes, sizeof word);
        std::memcpy(to + count - sizeof word, &last, sizeof word);
    };
    if (count >= 8)
        halves(uint64_t{});
    else if (count >= 4)
        halves(uint32_t{});
    else if (count >= 2)
        halves(uint16_t{});
    else if (count == 1)
        *to = bytes[0];
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
