#include "vdelib/strings/compare.h"

#include <cstdlib>
#include <type_traits>

// Under the address sanitizer nobody reads past the end of a string.
#if defined(__SANITIZE_ADDRESS__)
#define VELT_EXACT_LOADS
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VELT_EXACT_LOADS
#endif
#endif

#if defined(__x86_64__) && defined(__GLIBC__) && !defined(__clang__) && !defined(VELT_EXACT_LOADS)
#define VELT_WIDE
#include <immintrin.h>
#endif

using namespace velt;

namespace
{

// A block that ends beyond a string's end may be loaded as long as it lies in a page of the string.
// Pages have this size or a multiple of it.
constexpr uintptr_t page_size = 4096;

uintptr_t offset_in_page(const void *p)
{
    return reinterpret_cast<uintptr_t>(p) & (page_size - 1);
}

template <size_t size>
struct Vector {
    using Signed [[gnu::vector_size(size)]] = signed char;
    using Unsigned [[gnu::vector_size(size)]] = UCharT;
};

// The functions on vectors are compiled into those that have the processor's instructions for them,
// and take and return vectors by their address, since how they are passed depends on these.

template <class Wide>
[[gnu::always_inline]] inline void load(const UCharT *from, Wide &wide)
{
    std::memcpy(&wide, from, sizeof wide);
}

// The same for what is used twice, which would otherwise be loaded twice.
template <class Wide>
[[gnu::always_inline]] inline void load_once(const UCharT *from, Wide &wide)
{
    load(from, wide);
#ifdef __x86_64__
    asm("" : "+v"(wide));
#endif
}

// Sets `differences` to bytes that are 0 where those of both are alike.
template <Compare compare, class Wide>
[[gnu::always_inline]] inline void find_differences(const Wide &a, const UCharT *b,
                                                    Wide &differences)
{
    differences = Wide{};
    if constexpr (compare == Compare::nothing)
        return;
    Wide other;
    load(b, other);
    differences = a ^ other;
    if constexpr (compare == Compare::folded) {
        // If these differ in case only, this is the letter in lower case; and such letters become
        // the greatest signed numbers.
        using Unsigned = typename Vector<sizeof(Wide)>::Unsigned;
        const auto lower = reinterpret_cast<Unsigned>(a | other) + (INT8_MAX - 'z');
        const Wide case_bit = (reinterpret_cast<Wide>(lower) > INT8_MAX - 26) & 0x20;
        differences &= ~case_bit;
    }
}

// Where a run first stops: at a difference, at the end or where the bytes are not ASCII. The size
// of the vectors if it goes on.
template <Bytes which, class Wide>
[[gnu::always_inline]] inline size_t first_stop(const Wide &a, const Wide &differences)
{
    const Wide alive = a & (differences == 0);
    uint64_t bits = 0;
#ifdef VELT_WIDE
    if constexpr (sizeof(Wide) == 64) {
        constexpr int less_or_equal = 2;
        const auto bytes = reinterpret_cast<__v64qi>(alive);
        bits = which == Bytes::all
                   ? __builtin_ia32_ptestnmb512(bytes, bytes, ~uint64_t{})
                   : __builtin_ia32_cmpb512_mask(bytes, __v64qi{}, less_or_equal, ~uint64_t{});
        return bits == 0 ? sizeof(Wide) : static_cast<size_t>(std::countr_zero(bits));
    }
#endif
    const Wide stops = which == Bytes::all ? alive == 0 : ~(alive > 0);
#ifdef VELT_WIDE
    if constexpr (sizeof(Wide) == 32) {
        bits = static_cast<unsigned>(__builtin_ia32_pmovmskb256(reinterpret_cast<__v32qi>(stops)));
        return bits == 0 ? sizeof(Wide) : static_cast<size_t>(std::countr_zero(bits));
    }
#endif
    if constexpr (sizeof(Wide) == block_size)
        return static_cast<size_t>(first_set(stops));
}

template <class Wide, Compare compare, Bytes which>
[[gnu::always_inline]] inline size_t stop_in(const UCharT *a, const UCharT *b)
{
    Wide one, differences;
    load_once(a, one);
    find_differences<compare>(one, b, differences);
    return first_stop<which>(one, differences);
}

template <Compare compare, Bytes which>
bool stops_at(UCharT a, UCharT b)
{
    if (a == '\0' || (which == Bytes::only_ascii && a > INT8_MAX))
        return true;
    if (compare == Compare::nothing || a == b)
        return false;
    const UCharT lower = a | 0x20;
    return compare == Compare::exact || lower != (b | 0x20) || lower < 'a' || lower > 'z';
}

constexpr size_t vectors = 4;
template <class Wide>
constexpr size_t stride = vectors * sizeof(Wide);

// Where it stops in that many vectors.
template <class Wide, Compare compare, Bytes which>
[[gnu::always_inline]] inline size_t stop_in_stride(const UCharT *a, const UCharT *b)
{
#pragma GCC unroll 4
    for (size_t start = 0; start < stride<Wide>; start += sizeof(Wide)) {
        const size_t at = stop_in<Wide, compare, which>(a + start, b + start);
        if (at < sizeof(Wide))
            return start + at;
    }
    return stride<Wide>;
}

// Whether it stops there: at the least bytes of all, or at a difference in any.
template <class Wide, Compare compare, Bytes which>
[[gnu::always_inline]] inline bool stops_in_stride(const UCharT *a, const UCharT *b)
{
    using Vectors = Vector<sizeof(Wide)>;
    using Ordered = std::conditional_t<which == Bytes::all, typename Vectors::Unsigned, Wide>;
    Wide one, differences;
    load_once(a, one);
    find_differences<compare>(one, b, differences);
    auto least = reinterpret_cast<Ordered>(one);
#pragma GCC unroll 4
    for (size_t start = sizeof(Wide); start < stride<Wide>; start += sizeof(Wide)) {
        Wide more;
        load_once(a + start, one);
        find_differences<compare>(one, b + start, more);
        differences |= more;
        const auto next = reinterpret_cast<Ordered>(one);
        least = next < least ? next : least;
    }
    return first_stop<which>(reinterpret_cast<Wide>(least), differences) < sizeof(Wide);
}

// The number of bytes before a run stops; the limit or more if it goes on as far as that.
template <class Wide, Compare compare, Bytes which>
[[gnu::always_inline]] inline size_t run(const UCharT *a, const UCharT *b, size_t limit)
{
    constexpr size_t width = sizeof(Wide);
    constexpr size_t head = std::min<size_t>(width, 32);
    using Head = typename Vector<head>::Signed;
    size_t length = 0;
    if constexpr (width == 1) {
        while (length < limit && !stops_at<compare, which>(a[length], b[length]))
            ++length;
        return length;
    } else {
        constexpr uintptr_t last_begin = page_size - 2 * head - stride<Wide>;
        if (offset_in_page(a) <= last_begin && offset_in_page(b) <= last_begin) [[likely]] {
            size_t at = stop_in<Head, compare, which>(a, b);
            if (at < head) [[likely]]
                return at;
            // Vectors that begin at a multiple of their size are loaded faster.
            length = head - reinterpret_cast<uintptr_t>(a) % head;
            if (width > head && reinterpret_cast<uintptr_t>(a + length) % width != 0) {
                at = stop_in<Head, compare, which>(a + length, b + length);
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

// Difference of the first bytes whose images differ; 0 when a string ends before.
[[gnu::noinline, gnu::cold]] IntT slow_difference(const UCharT *a, const UCharT *b, size_t limit)
{
    for (; limit > 0; --limit, ++a, ++b) {
        const IntT result = VdeQToLower[*a] - VdeQToLower[*b];
        if (result != 0 || *a == '\0' || *b == '\0')
            return result;
        // REST
    }
    return 0;
}

template <class Wide>
struct Routines {
#define VELT_ROUTINE [[gnu::always_inline]] static
    template <Bytes which>
    VELT_ROUTINE size_t length(const UCharT *s, size_t limit)
    {
        return std::min(run<Wide, Compare::nothing, which>(s, s, limit), limit);
    }
    template <Compare compare, Bytes which>
    VELT_ROUTINE size_t alike(const UCharT *a, const UCharT *b, size_t limit)
    {
        return std::min(run<Wide, compare, which>(a, b, limit), limit);
    }
    VELT_ROUTINE IntT size(const UCharT *s)
    {
        return static_cast<IntT>(run<Wide, Compare::nothing, Bytes::all>(s, s, unbounded));
    }
    VELT_ROUTINE IntT images_differ(const UCharT *a, const UCharT *b, size_t at, size_t limit)
    {
        if (at >= limit || a[at] == b[at])
            return 0;
        const IntT result = standard_lower[a[at]] - standard_lower[b[at]];
        // Letters that are not ASCII may have the same image.
        return result != 0 ? result : slow_difference(a + at, b + at, limit - at);
    }
    VELT_ROUTINE IntT long_difference_folded(const UCharT *a, const UCharT *b, size_t limit)
    {
        return images_differ(a, b, run<Wide, Compare::folded, Bytes::all>(a, b, limit), limit);
    }
    VELT_ROUTINE IntT difference_folded(const UCharT *a, const UCharT *b, size_t limit)
    {
        if (VdeQToLower != standard_lower.data())
            return slow_difference(a, b, limit);
        constexpr size_t head = std::min<size_t>(sizeof(Wide), 32);
        if constexpr (head > 1) {
            if (offset_in_page(a) <= page_size - head && offset_in_page(b) <= page_size - head)
                [[likely]] {
                const size_t at =
                    stop_in<typename Vector<head>::Signed, Compare::folded, Bytes::all>(a, b);
                if (at < head) [[likely]]
                    return images_differ(a, b, at, limit);
            }
        }
        return string_routines.long_difference_folded(a, b, limit);
    }
    VELT_ROUTINE IntT difference(const UCharT *a, const UCharT *b, size_t limit)
    {
        const size_t at = run<Wide, Compare::exact, Bytes::all>(a, b, limit);
        return at < limit ? a[at] - b[at] : 0;
    }
    VELT_ROUTINE IntT is_equal(const UCharT *a, const UCharT *b, size_t limit)
    {
        const size_t at = run<Wide, Compare::exact, Bytes::all>(a, b, limit);
        return at >= limit || a[at] == b[at];
    }
    VELT_ROUTINE IntT is_prefix(const UCharT *a, const UCharT *b, size_t limit)
    {
        const size_t at = run<Wide, Compare::exact, Bytes::all>(a, b, limit);
        return at >= limit || b[at] == '\0';
    }
#undef VELT_ROUTINE
};

// A version for each size of vectors, and the table of its routines.
#define VELT_VERSION(Version, Wide, attribute)                                                     \
    struct Version {                                                                               \
        template <auto routine, class Result, class... Arguments>                                  \
        attribute static Result call(Arguments... arguments)                                       \
        {                                                                                          \
            return routine(arguments...);                                                          \
        }                                                                                          \
        template <auto routine, class Result, class... Arguments>                                  \
        static constexpr auto version(Result (*)(Arguments...))                                    \
        {                                                                                          \
            return call<routine, Result, Arguments...>;                                            \
        }                                                                                          \
        template <auto routine>                                                                    \
        static constexpr auto of = version<routine>(routine);                                      \
        using Of = Routines<Wide>;                                                                 \
    }
VELT_VERSION(Exact, UCharT, );
#ifndef VELT_EXACT_LOADS
VELT_VERSION(Portable, Block, );
#endif
#ifdef VELT_WIDE
VELT_VERSION(Avx2, Vector<32>::Signed, [[gnu::target("avx2,bmi")]]);
// The processors that have all of this do not slow down for vectors of 64 bytes.
VELT_VERSION(Avx512, Vector<64>::Signed, [[gnu::target("avx512bw,avx512vbmi2,bmi")]]);
#endif

template <class Version>
constexpr StringRoutines routines_of()
{
    using enum Compare;
    using enum Bytes;
    using Of = typename Version::Of;
    return {Version::template of<Of::size>,
            Version::template of<Of::template length<all>>,
            Version::template of<Of::template length<only_ascii>>,
            Version::template of<Of::template alike<exact, only_ascii>>,
            Version::template of<Of::template alike<folded, only_ascii>>,
            Version::template of<Of::difference>,
            Version::template of<Of::difference_folded>,
            Version::template of<Of::long_difference_folded>,
            Version::template of<Of::is_equal>,
            Version::template of<Of::is_prefix>};
}

} // namespace

// What is called before the library has been started reads byte by byte.
constinit StringRoutines velt::string_routines = routines_of<Exact>();

#ifndef VELT_EXACT_LOADS
namespace
{

// Valgrind, which watches that nobody reads past an end, has its own libraries loaded first.
bool is_watched()
{
    const char *preloaded = std::getenv("LD_PRELOAD");
    return preloaded && std::strstr(preloaded, "vgpreload");
}

[[gnu::constructor]] void choose_string_routines()
{
    if (is_watched())
        return;
    string_routines = routines_of<Portable>();
#ifdef VELT_WIDE
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512vbmi2"))
        string_routines = routines_of<Avx512>();
    else if (__builtin_cpu_supports("avx2"))
        string_routines = routines_of<Avx2>();
#endif
}

} // namespace
#endif
