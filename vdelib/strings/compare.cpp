#include "vdelib/strings/compare.h"

#include <cstdlib>

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
using Wide = UCharT __attribute__((vector_size(wide_size)));
using Signed = signed char __attribute__((vector_size(wide_size)));
using Words = uint64_t __attribute__((vector_size(wide_size)));

} // namespace

#ifndef VELT_EXACT_LOADS
const bool velt::reads_ahead = !is_watched();
#endif

#define VELT_WHOLE_STRIDES(fold, which)                                                            \
    template <>                                                                                    \
    VELT_VERSIONS size_t velt::whole_strides<fold, which>(const UCharT *a, const UCharT *b,        \
                                                          size_t size)                             \
    {                                                                                              \
        size_t length = 0;                                                                         \
        for (; size - length >= stride; length += stride) {                                        \
            Wide least = ~Wide{};                                                                  \
            _Pragma("GCC unroll 4") for (size_t at = 0; at < stride; at += wide_size)              \
            {                                                                                      \
                Signed one, other, alive;                                                          \
                std::memcpy(&one, a + length + at, sizeof one);                                    \
                std::memcpy(&other, b + length + at, sizeof other);                                \
                find_alike<fold, which>(one, other, alive);                                        \
                const auto bytes = reinterpret_cast<Wide>(alive);                                  \
                least = bytes < least ? bytes : least;                                             \
            }                                                                                      \
            const auto stops = reinterpret_cast<Words>(least == 0);                                \
            if ((stops[0] | stops[1] | stops[2] | stops[3]) != 0)                                  \
                break;                                                                             \
        }                                                                                          \
        return length;                                                                             \
    }

VELT_WHOLE_STRIDES(Case::exact, Bytes::all)
VELT_WHOLE_STRIDES(Case::exact, Bytes::only_ascii)
VELT_WHOLE_STRIDES(Case::folded, Bytes::all)
VELT_WHOLE_STRIDES(Case::folded, Bytes::only_ascii)
