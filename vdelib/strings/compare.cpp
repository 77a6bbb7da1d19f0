#include "vdelib/strings/compare.h"

#include <cstdlib>
#include <utility>

using namespace velt;

namespace
{

#ifndef VELT_EXACT_LOADS
// Valgrind has its own libraries loaded first.
bool is_watched()
{
    const char *preloaded = std::getenv("LD_PRELOAD");
    return preloaded && std::strstr(preloaded, "vgpreload");
}
#endif

// Where the compiler can, it makes two versions, of which the loader takes what the processor has.
#if defined(__x86_64__) && defined(__GLIBC__) && !defined(__clang__) && !defined(VELT_EXACT_LOADS)
#define VELT_VERSIONS __attribute__((target_clones("avx2", "default")))
#else
#define VELT_VERSIONS
#endif

constexpr size_t wide_size = 32;
constexpr size_t stride = 4 * wide_size;
using Wide = signed char __attribute__((vector_size(wide_size)));

template <int from>
[[gnu::always_inline]] inline Block half_of(const Wide &wide)
{
    return [&wide]<int... at>(std::integer_sequence<int, at...>)
    {
        return __builtin_shufflevector(wide, wide, (from + at)...);
    }
    (std::make_integer_sequence<int, block_size>());
}

[[gnu::always_inline]] inline size_t first_set_of(const Wide &set)
{
    return static_cast<size_t>(first_set(half_of<0>(set), half_of<block_size>(set)));
}

template <Compare compare, Bytes which>
[[gnu::always_inline]] inline void find_stops_at(const UCharT *a, const UCharT *b, Wide &stops)
{
    Wide one, other, alive;
    std::memcpy(&one, a, wide_size);
    std::memcpy(&other, b, wide_size);
    find_alive<compare>(one, other, alive);
    find_stops<which>(alive, stops);
}

template <Compare compare, Bytes which>
[[gnu::always_inline]] inline bool stops_in_stride(const UCharT *a, const UCharT *b)
{
    Wide all = {};
#pragma GCC unroll 4
    for (size_t at = 0; at < stride; at += wide_size) {
        Wide stops;
        find_stops_at<compare, which>(a + at, b + at, stops);
        all |= stops;
    }
    return first_set(half_of<0>(all) | half_of<block_size>(all)) < block_size;
}

template <Compare compare, Bytes which>
[[gnu::always_inline]] inline size_t run_in_wide(const UCharT *a, const UCharT *b)
{
    Wide stops;
    find_stops_at<compare, which>(a, b, stops);
    return first_set_of(stops);
}

template <Compare compare, Bytes which>
[[gnu::always_inline]] inline size_t run(const UCharT *a, const UCharT *b, size_t limit)
{
    size_t length = 0;
    while (length < limit) {
        // How many bytes lie in the same pages as the next.
        size_t left = reads_ahead ? page_size - std::max(offset_in_page(a + length),
                                                         offset_in_page(b + length))
                                  : 0;
        if (left < wide_size) {
            const size_t back = wide_size - left;
            if (!reads_ahead || length < back) {
                const Block one = {static_cast<signed char>(a[length])};
                const Block other = {static_cast<signed char>(b[length])};
                if (first_set(stops_of<compare, which>(one, other)) == 0)
                    return length;
                ++length;
                continue;
            }
            // The bytes that end with the page begin with some that are known.
            length -= back;
            left = wide_size;
        }
        for (; left >= stride && length < limit; length += stride, left -= stride) {
            if (stops_in_stride<compare, which>(a + length, b + length))
                break;
        }
        for (; left >= wide_size && length < limit; length += wide_size, left -= wide_size) {
            const size_t at = run_in_wide<compare, which>(a + length, b + length);
            if (at < wide_size)
                return std::min(length + at, limit);
        }
    }
    return std::min(length, limit);
}

} // namespace

#ifndef VELT_EXACT_LOADS
const bool velt::reads_ahead = !is_watched();
#endif

#define VELT_ALIKE(compare, which)                                                                 \
    template <>                                                                                    \
    VELT_VERSIONS size_t velt::alike_long<compare, which>(const UCharT *a, const UCharT *b,        \
                                                          size_t limit)                            \
    {                                                                                              \
        return run<compare, which>(a, b, limit);                                                   \
    }

VELT_ALIKE(Compare::nothing, Bytes::only_ascii)
VELT_ALIKE(Compare::exact, Bytes::all)
VELT_ALIKE(Compare::exact, Bytes::only_ascii)
VELT_ALIKE(Compare::folded, Bytes::all)
VELT_ALIKE(Compare::folded, Bytes::only_ascii)
