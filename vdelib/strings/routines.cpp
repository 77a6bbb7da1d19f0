#include "vdelib/strings/routines.h"

#include <cstdlib>

#include "vdelib/strings/characters.h"
#include "vdelib/strings/pairs.h"
#include "vdelib/strings/vectors.h"

using namespace velt;

namespace
{

// Difference of the first bytes whose images differ; 0 when a string ends before.
[[gnu::noinline, gnu::cold]] IntT slow_difference(const UCharT *a, const UCharT *b, size_t limit)
{
    for (; limit > 0; --limit, ++a, ++b) {
        if (*a <= INT8_MAX && folds_as_vectors<Compare::folded>()) {
            const size_t at = string_routines.ascii_alike_folded(a, b, limit);
            if (at == limit)
                break;
            limit -= at;
            a += at;
            b += at;
        }
        const IntT result = VdeQToLower[*a] - VdeQToLower[*b];
        if (result != 0 || *a == '\0' || *b == '\0')
            return result;
    }
    return 0;
}

const char *chars(const UCharT *bytes)
{
    return reinterpret_cast<const char *>(bytes);
}

// A function of its own, so that what calls it at its end saves no registers.
[[gnu::noinline]] size_t put_part(char *to, size_t at, const UCharT *src, size_t count)
{
    copy_short(to, chars(src), count);
    to[count] = '\0';
    return at + count;
}

// What is left to do for a long string is called through the table, so that for a short one no
// registers are saved.
template <class Wide>
struct Routines {
#define VELT_ROUTINE [[gnu::always_inline]] static

    // With these vectors, measuring and copying take less time than in the C library; with those,
    // equality and searches take more.
    static constexpr bool is_widest = sizeof(Wide) == 64, is_block = sizeof(Wide) == block_size;

    VELT_ROUTINE size_t length(const UCharT *s, size_t limit)
    {
        if constexpr (!is_widest)
            return limit == unbounded ? std::strlen(chars(s)) : strnlen(chars(s), limit);
        else
            return std::min(run<Wide, Compare::nothing, Bytes::all>(s, s, limit), limit);
    }

    VELT_ROUTINE size_t whole_length(const UCharT *s)
    {
        const size_t end = stop_in_head<Wide>(s, s);
        return end < head_size<Wide> ? end : string_routines.length(s, unbounded);
    }

    VELT_ROUTINE IntT size(const UCharT *s)
    {
        const size_t end = stop_in_head<Wide>(s, s);
        return end < head_size<Wide> ? static_cast<IntT>(end) : string_routines.long_size(s);
    }

    VELT_ROUTINE IntT long_size(const UCharT *s)
    {
        return static_cast<IntT>(length(s, unbounded));
    }

    template <Compare compare, Bytes which>
    VELT_ROUTINE size_t alike(const UCharT *a, const UCharT *b, size_t limit)
    {
        return std::min(run<Wide, compare, which>(a, b, limit), limit);
    }

    VELT_ROUTINE IntT characters(const UCharT *s, UIntT enc)
    {
        if constexpr (sizeof(Wide) > 1) {
            size_t ascii = 0;
            if (*s <= INT8_MAX) {
                ascii = run<Wide, Compare::nothing, Bytes::only_ascii>(s, s, unbounded);
                if (s[ascii] == '\0')
                    return static_cast<IntT>(ascii);
            }
            return static_cast<IntT>(ascii +
                                     count_characters<Wide>(s + ascii, byte_classes_of(enc)));
        }
        const VdeFontEncT &table = font_encoding(enc);
        IntT count = 0;
        for (IntT size; (size = char_size(chars(s), table)) != 0; s += size)
            ++count;
        return count;
    }

    VELT_ROUTINE size_t alike_characters(const UCharT *a, const UCharT *b, size_t begin,
                                         size_t limit, UIntT enc)
    {
        if constexpr (sizeof(Wide) > 1)
            return velt::alike_characters<Wide>(a, b, begin, limit, byte_classes_of(enc));
        return begin;
    }

    VELT_ROUTINE const UCharT *row_before(const UCharT *at, const UCharT *begin, UIntT enc)
    {
        if constexpr (sizeof(Wide) > 1)
            return row_of_first_bytes<Wide>(begin, at, byte_classes_of(enc));
        while (at > begin && font_encoding(enc).firstByte[at[-1]] != 0)
            --at;
        return at;
    }

    VELT_ROUTINE IntT difference(const UCharT *a, const UCharT *b, size_t limit)
    {
        const size_t at = stop_in_head<Wide, Compare::exact>(a, b);
        if (at >= head_size<Wide>)
            return string_routines.long_difference(a, b, limit);
        return at < limit ? a[at] - b[at] : 0;
    }

    VELT_ROUTINE IntT whole_difference(const UCharT *a, const UCharT *b)
    {
        return difference(a, b, unbounded);
    }

    VELT_ROUTINE IntT whole_is_equal(const UCharT *a, const UCharT *b)
    {
        return is_equal(a, b, unbounded);
    }

    VELT_ROUTINE IntT long_difference(const UCharT *a, const UCharT *b, size_t limit)
    {
        const size_t at = run<Wide, Compare::exact, Bytes::all>(a, b, limit);
        return at < limit ? a[at] - b[at] : 0;
    }

    VELT_ROUTINE IntT is_equal(const UCharT *a, const UCharT *b, size_t limit)
    {
        const size_t at = stop_in_head<Wide, Compare::exact>(a, b);
        if (at >= head_size<Wide>)
            return string_routines.long_is_equal(a, b, limit);
        return at >= limit || a[at] == b[at];
    }

    VELT_ROUTINE IntT long_is_equal(const UCharT *a, const UCharT *b, size_t limit)
    {
        if constexpr (is_block)
            return std::strncmp(chars(a), chars(b), limit) == 0;
        const size_t at = run<Wide, Compare::exact, Bytes::all>(a, b, limit);
        return at >= limit || a[at] == b[at];
    }

    VELT_ROUTINE IntT is_prefix(const UCharT *a, const UCharT *b, size_t limit)
    {
        const size_t at = run<Wide, Compare::exact, Bytes::all>(a, b, limit);
        return at >= limit || b[at] == '\0';
    }

    VELT_ROUTINE const UCharT *tail(const UCharT *s, const UCharT *suffix)
    {
        const size_t wanted = whole_length(suffix);
        const size_t length = whole_length(s);
        return length >= wanted ? s + (length - wanted) : nullptr;
    }

    VELT_ROUTINE IntT is_suffix(const UCharT *s, const UCharT *suffix)
    {
        const UCharT *const end = tail(s, suffix);
        return end ? string_routines.whole_is_equal(end, suffix) : 0;
    }

    VELT_ROUTINE IntT is_suffix_folded(const UCharT *s, const UCharT *suffix)
    {
        const UCharT *const end = tail(s, suffix);
        return end ? string_routines.is_equal_folded(end, suffix, unbounded) : 0;
    }

    // Of strings that are alike as far as `at`.
    VELT_ROUTINE IntT difference_at(size_t at, const UCharT *a, const UCharT *b, size_t limit)
    {
        if (at >= limit || a[at] == b[at])
            return 0;
        const IntT result = standard_lower[a[at]] - standard_lower[b[at]];
        // Letters that are not ASCII may have the same image.
        return result != 0 ? result : slow_difference(a + at, b + at, limit - at);
    }

    VELT_ROUTINE IntT difference_folded(const UCharT *a, const UCharT *b, size_t limit)
    {
        if (!folds_as_vectors<Compare::folded>())
            return slow_difference(a, b, limit);
        const size_t at = stop_in_head<Wide, Compare::folded>(a, b);
        return at < head_size<Wide> ? difference_at(at, a, b, limit)
                                    : string_routines.long_difference_folded(a, b, limit);
    }

    VELT_ROUTINE IntT long_difference_folded(const UCharT *a, const UCharT *b, size_t limit)
    {
        return difference_at(run<Wide, Compare::folded, Bytes::all>(a, b, limit), a, b, limit);
    }

    VELT_ROUTINE IntT is_equal_folded(const UCharT *a, const UCharT *b, size_t limit)
    {
        const size_t at = stop_in_head<Wide, Compare::folded>(a, b);
        if (at < head_size<Wide> && folds_as_vectors<Compare::folded>()) {
            if (at >= limit || a[at] == b[at])
                return 1;
            if (standard_lower[a[at]] != standard_lower[b[at]])
                return 0;
        }
        return string_routines.long_is_equal_folded(a, b, limit);
    }

    VELT_ROUTINE IntT long_is_equal_folded(const UCharT *a, const UCharT *b, size_t limit)
    {
        return string_routines.difference_folded(a, b, limit) == 0;
    }

    VELT_ROUTINE IntT is_prefix_folded(const UCharT *a, const UCharT *b)
    {
        const size_t at = stop_in_head<Wide, Compare::folded>(a, b);
        if (at < head_size<Wide> && folds_as_vectors<Compare::folded>()) {
            if (b[at] == '\0')
                return 1;
            if (standard_lower[a[at]] != standard_lower[b[at]])
                return 0;
        }
        return string_routines.long_is_prefix_folded(a, b);
    }

    VELT_ROUTINE IntT long_is_prefix_folded(const UCharT *a, const UCharT *b)
    {
        return string_routines.is_equal_folded(a, b, whole_length(b));
    }

    // What is alike byte for byte is so in any case.
    VELT_ROUTINE IntT difference_in_cases(const UCharT *a, const UCharT *b)
    {
        const size_t folded_at = stop_in_head<Wide, Compare::folded>(a, b);
        if (folded_at < head_size<Wide> && folds_as_vectors<Compare::folded>()) {
            const size_t at = stop_in_head<Wide, Compare::exact>(a, b);
            if (a[at] == b[at])
                return 0;
            const IntT folded = standard_lower[a[folded_at]] - standard_lower[b[folded_at]];
            if (folded != 0)
                return folded;
            if (a[folded_at] == b[folded_at])
                return a[at] - b[at];
        }
        return string_routines.long_difference_in_cases(a, b);
    }

    VELT_ROUTINE IntT long_difference_in_cases(const UCharT *a, const UCharT *b)
    {
        const size_t at = run<Wide, Compare::exact, Bytes::all>(a, b, unbounded);
        if (a[at] == b[at])
            return 0;
        const IntT folded = string_routines.difference_folded(a + at, b + at, unbounded);
        return folded != 0 ? folded : a[at] - b[at];
    }

    // What is alike as far as the ends, or behind the limit, is so in any characters.
    VELT_ROUTINE bool is_alike(const UCharT *a, const UCharT *b, size_t at, size_t limit)
    {
        return at < head_size<Wide> && (a[at] == b[at] || at > limit);
    }

    VELT_ROUTINE IntT encoded_difference(const UCharT *a, const UCharT *b, size_t limit, UIntT enc,
                                         StringRoutines::EncodedComparison *others)
    {
        const size_t at = stop_in_head<Wide, Compare::exact>(a, b);
        if (is_alike(a, b, at, limit))
            return 0;
        // Behind ASCII a character begins.
        if (at < head_size<Wide> && (at == 0 || a[at - 1] <= INT8_MAX)) {
            if (at == limit)
                return 0;
            if ((a[at] | b[at]) <= INT8_MAX)
                return a[at] - b[at];
        }
        return others(a, b, limit, enc);
    }

    VELT_ROUTINE IntT encoded_difference_folded(const UCharT *a, const UCharT *b, size_t limit,
                                                UIntT enc,
                                                StringRoutines::EncodedComparison *others)
    {
        const size_t at = stop_in_head<Wide, Compare::folded, Bytes::only_ascii>(a, b);
        if (at < head_size<Wide> && folds_as_vectors<Compare::folded>()) {
            if (at >= limit)
                return 0;
            if ((a[at] | b[at]) <= INT8_MAX)
                return standard_lower[a[at]] - standard_lower[b[at]];
            if (is_alike(a, b, stop_in_head<Wide, Compare::exact>(a, b), limit))
                return 0;
        }
        return others(a, b, limit, enc);
    }

    VELT_ROUTINE IntT find(const UCharT *s, const UCharT *sub)
    {
        if constexpr (sizeof(Wide) > 1) {
            if (offset_in_page(s) <= page_size - head_size<Wide>) [[likely]] {
                const auto first = Head<Wide>{} + static_cast<signed char>(sub[0]);
                const size_t at = first_or_end(s, first, Head<Wide>{});
                if (at < head_size<Wide> && s[at] == '\0')
                    return -1;
            }
        }
        return string_routines.find_long(s, sub);
    }

    VELT_ROUTINE IntT find_long(const UCharT *s, const UCharT *sub)
    {
        const UCharT *const begin = s;
        if constexpr (sizeof(Wide) > block_size) {
            const size_t size = whole_length(sub);
            const Wide first = Wide{} + static_cast<signed char>(sub[0]);
            const Wide last = Wide{} + static_cast<signed char>(sub[size - 1]);
            // Few places have both and not what is between; with many, the C library is faster.
            int tries = 16;
            while (tries > 0 && offset_in_page(s) + size + sizeof(Wide) <= page_size) {
                Wide ends;
                load(s + size - 1, ends);
                const size_t at = first_or_end<Wide>(s, first, ends ^ last);
                s += at;
                if (at == sizeof(Wide))
                    continue;
                if (*s == '\0')
                    return -1;
                if (std::memcmp(s, sub, size) == 0)
                    return static_cast<IntT>(s - begin);
                ++s;
                --tries;
            }
        }
        const char *const found = std::strstr(chars(s), chars(sub));
        return found ? static_cast<IntT>(found - chars(begin)) : -1;
    }

    VELT_ROUTINE const UCharT *find_pair(const UCharT *s, UCharT first, UCharT second)
    {
        for (;; ++s) {
            if constexpr (sizeof(Wide) > 1) {
                const Wide byte = Wide{} + static_cast<signed char>(first);
                while (offset_in_page(s) < page_size - sizeof(Wide)) {
                    Wide next;
                    load(s + 1, next);
                    const size_t at =
                        first_or_end<Wide>(s, byte, next ^ static_cast<signed char>(second));
                    s += at;
                    if (at < sizeof(Wide))
                        return *s != '\0' ? s : nullptr;
                }
            }
            if (*s == '\0')
                return nullptr;
            if (s[0] == first && s[1] == second)
                return s;
        }
    }

    VELT_ROUTINE size_t put(char *to, size_t at, const UCharT *src, size_t most,
                            const void *aligned)
    {
        const size_t end = stop_in_head<Wide>(src, src);
        if (end >= head_size<Wide>)
            return string_routines.put_long(to, at, src, most, aligned);
        if (end > most) [[unlikely]]
            return put_part(to, at, src, most);
        copy_short(to, chars(src), end + 1);
        return at + end;
    }

    VELT_ROUTINE size_t put_long(char *to, size_t at, const UCharT *src, size_t most,
                                 const void *aligned)
    {
        if constexpr (is_widest) {
            constexpr size_t width = sizeof(Wide);
            // There vectors begin at a multiple of their size, which makes them faster.
            const size_t start = width - reinterpret_cast<uintptr_t>(aligned) % width;
            if (offset_in_page(src) <= page_size - (vectors_copied + 1) * width && most >= start) {
                Wide first;
                load(src, first);
                if (first_stop<Bytes::all>(first, Wide{}) == width) {
                    const size_t rest = copy_rest<Wide>(to + start, src + start, most - start);
                    if (rest != none) {
                        std::memcpy(to, &first, width);
                        return at + start + rest;
                    }
                }
            }
        }
        return string_routines.put_measured(to, at, src, most, aligned);
    }

    VELT_ROUTINE size_t put_measured(char *to, size_t at, const UCharT *src, size_t most,
                                     const void *)
    {
        const size_t count = length(src, most);
        std::memmove(to, src, count);
        to[count] = '\0';
        return at + count;
    }

    VELT_ROUTINE size_t append(char *dst, const UCharT *src, size_t room)
    {
        // A vector waits for a byte in it that has just been written; the byte alone does not.
        if (*dst == '\0')
            return put_behind(dst, 0, src, room);
        const auto *const begin = reinterpret_cast<const UCharT *>(dst);
        const size_t at = stop_in_head<Wide>(begin, begin);
        return at < head_size<Wide> ? put_behind(dst, at, src, room)
                                    : string_routines.append_to_long(dst, src, room);
    }

    VELT_ROUTINE size_t append_to_long(char *dst, const UCharT *src, size_t room)
    {
        const auto *const begin = reinterpret_cast<const UCharT *>(dst);
        return put_behind(dst, string_routines.length(begin, unbounded), src, room);
    }

    VELT_ROUTINE size_t put_behind(char *dst, size_t at, const UCharT *src, size_t room)
    {
        return at < room ? put(dst + at, at, src, room - at, src) : at;
    }
#undef VELT_ROUTINE
};

// Versions of a routine, compiled for the processors that have the vectors.
#define VELT_VERSION(Version, attribute)                                                           \
    template <auto routine>                                                                        \
    struct Version;                                                                                \
    template <class Result, class... Arguments, Result (*routine)(Arguments...)>                   \
    struct Version<routine> {                                                                      \
        attribute static Result call(Arguments... arguments) { return routine(arguments...); }     \
    }
VELT_VERSION(Any, );
#ifdef VELT_WIDE_VECTORS
VELT_VERSION(Avx2, [[gnu::target("avx2,bmi,lzcnt,popcnt")]]);
VELT_VERSION(Avx512, [[gnu::target("avx512bw,avx512vl,bmi,lzcnt,popcnt")]]);
#endif

template <template <auto> class Version, class Wide>
constexpr StringRoutines routines_of()
{
    using Of = Routines<Wide>;
    return {
        .size = Version<Of::size>::call,
        .long_size = Version<Of::long_size>::call,
        .length = Version<Of::length>::call,
        .alike = Version<Of::template alike<Compare::exact, Bytes::all>>::call,
        .ascii_alike_folded = Version<Of::template alike<Compare::folded, Bytes::only_ascii>>::call,
        .characters = Version<Of::characters>::call,
        .alike_characters = Version<Of::alike_characters>::call,
        .row_before = Version<Of::row_before>::call,
        .whole_difference = Version<Of::whole_difference>::call,
        .whole_is_equal = Version<Of::whole_is_equal>::call,
        .difference = Version<Of::difference>::call,
        .long_difference = Version<Of::long_difference>::call,
        .difference_folded = Version<Of::difference_folded>::call,
        .long_difference_folded = Version<Of::long_difference_folded>::call,
        .difference_in_cases = Version<Of::difference_in_cases>::call,
        .long_difference_in_cases = Version<Of::long_difference_in_cases>::call,
        .encoded_difference = Version<Of::encoded_difference>::call,
        .encoded_difference_folded = Version<Of::encoded_difference_folded>::call,
        .is_equal = Version<Of::is_equal>::call,
        .long_is_equal = Version<Of::long_is_equal>::call,
        .is_equal_folded = Version<Of::is_equal_folded>::call,
        .long_is_equal_folded = Version<Of::long_is_equal_folded>::call,
        .is_prefix = Version<Of::is_prefix>::call,
        .is_prefix_folded = Version<Of::is_prefix_folded>::call,
        .long_is_prefix_folded = Version<Of::long_is_prefix_folded>::call,
        .is_suffix = Version<Of::is_suffix>::call,
        .is_suffix_folded = Version<Of::is_suffix_folded>::call,
        .tail = Version<Of::tail>::call,
        .find = Version<Of::find>::call,
        .find_long = Version<Of::find_long>::call,
        .find_pair = Version<Of::find_pair>::call,
        .put = Version<Of::put>::call,
        .put_long = Version<Of::put_long>::call,
        .put_measured = Version<Of::put_measured>::call,
        .append = Version<Of::append>::call,
        .append_to_long = Version<Of::append_to_long>::call,
    };
}

constexpr StringRoutines versions[] = {
    routines_of<Any, UCharT>(),
#ifndef VELT_EXACT_LOADS
    routines_of<Any, Block>(),
#endif
#ifdef VELT_WIDE_VECTORS
    routines_of<Avx2, Vector<32>::Signed>(),
    routines_of<Avx512, Vector<64>::Signed>(),
#endif
};

// Valgrind, which watches that nobody reads past an end, has its own libraries loaded first.
bool is_watched()
{
    const char *preloaded = std::getenv("LD_PRELOAD");
    return preloaded && std::strstr(preloaded, "vgpreload");
}

} // namespace

std::span<const StringRoutines> velt::string_routine_versions()
{
    const std::span all{versions};
    if (is_watched())
        return all.first(1);
#ifdef VELT_WIDE_VECTORS
    __builtin_cpu_init();
    // The processors that have the last of these do not slow down for vectors of 64 bytes.
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("bmi") ||
        !__builtin_cpu_supports("lzcnt"))
        return all.first(2);
    if (!__builtin_cpu_supports("avx512bw") || !__builtin_cpu_supports("avx512vl") ||
        !__builtin_cpu_supports("avx512vbmi2"))
        return all.first(3);
#endif
    return all;
}

// What is called before the library has been started reads byte by byte.
constinit StringRoutines velt::string_routines = versions[0];

namespace
{

[[gnu::constructor]] void choose_string_routines()
{
    string_routines = string_routine_versions().back();
}

} // namespace
