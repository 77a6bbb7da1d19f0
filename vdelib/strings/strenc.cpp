// String routines that know two-byte characters.

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "vdelib/strings/characters.h"
#include "vdelib/strings/routines.h"
#include "velt/vde/fontenc.h"
#include "velt/vde/strings.h"

namespace
{

using namespace velt;

struct Char {
    IntT value; // b1 * 256 + b2 of a two-byte character
    IntT size;  // in bytes; 0 at the end of the string
};

template <Compare compare>
Char char_at(const char *s, const VdeFontEncT &enc)
{
    const IntT size = char_size(s, enc);
    const auto first = static_cast<UCharT>(s[0]);
    if (size == 2)
        return {first * 256 + static_cast<UCharT>(s[1]), size};
    return {compare == Compare::folded && size == 1 ? VdeQToLower[first] : first, size};
}

// The number of ASCII characters at the beginnings of both that are alike, at most `most`. In every
// encoding they are characters of one byte.
template <Compare compare>
size_t ascii_alike(const char *a, const char *b, size_t most)
{
    const auto of = compare == Compare::exact ? string_routines.ascii_alike
                                              : string_routines.ascii_alike_folded;
    return folds_as_vectors<compare>() ? of(bytes_of(a), bytes_of(b), most) : 0;
}

size_t ascii_run(const char *s, size_t most)
{
    return static_cast<signed char>(*s) < 0 ? 0 : string_routines.ascii(bytes_of(s), most);
}

// Returns the first beginning of a character that is not before `to`, a place in the string.
const char *next_character(const char *s, const char *to, const VdeFontEncT &enc)
{
    while (s < to) {
        const size_t run = ascii_run(s, static_cast<size_t>(to - s));
        s += run != 0 ? static_cast<ptrdiff_t>(run) : char_size(s, enc);
    }
    return s;
}

// Whether a character begins at `at`, a place in the string.
bool is_character(const char *s, const char *at, const VdeFontEncT &enc)
{
    // A byte that can begin no two-byte character, as none of ASCII can, ends one of either size.
    if (at == s || static_cast<signed char>(at[-1]) >= 0)
        return true;
    const char *begin = at;
    while (begin > s && enc.firstByte[static_cast<UCharT>(begin[-1])] != 0)
        --begin;
    return next_character(begin, at, enc) == at;
}

// Difference of the first differing characters among the first `most` bytes of a, which are not 0;
// the last character counts whole.
template <Compare which>
IntT difference_of_characters(const UCharT *p, const UCharT *q, size_t most, UIntT enc)
{
    const auto *const a = reinterpret_cast<const char *>(p);
    const auto *const b = reinterpret_cast<const char *>(q);
    const VdeFontEncT &table = font_encoding(enc);
    size_t done = 0;
    do {
        done += ascii_alike<which>(a + done, b + done, most - done);
        if (done >= most)
            break;
        const Char ca = char_at<which>(a + done, table);
        const Char cb = char_at<which>(b + done, table);
        // A table may have the image 0 for a character, which is not the end then.
        if (ca.value != cb.value || ca.size == 0 || cb.size == 0)
            return ca.value - cb.value;
        done += static_cast<size_t>(ca.size);
    } while (done < most);
    return 0;
}

template <Compare which>
IntT compare_characters(const char *a, const char *b, UIntT enc, size_t most)
{
    const auto compare = which == Compare::exact ? string_routines.ascii_difference
                                                 : string_routines.ascii_difference_folded;
    if (!a || !b) [[unlikely]]
        return compare(bytes_of(a), bytes_of(b), most, enc, difference_of_characters<which>);
    return compare(reinterpret_cast<const UCharT *>(a), reinterpret_cast<const UCharT *>(b), most,
                   enc, difference_of_characters<which>);
}

// Compares at least one character, unless N is 0.
template <Compare which>
IntT compare_n(const char *a, const char *b, IntT N, UIntT enc)
{
    return N == 0 ? 0 : compare_characters<which>(a, b, enc, static_cast<size_t>(std::max(N, 1)));
}

// Returns whether a two-byte character occupies the bytes n - 1 and n of s.
bool IsSplittingDBChar(const char *s, IntT n, UIntT enc)
{
    const auto size = static_cast<size_t>(std::max(n, 0));
    return s && length_within(s, size) == size && !is_character(s, s + size, font_encoding(enc));
}

// Copies the first characters of src, at most `most` bytes, to dst[at] and terminates dst after
// them. The two may overlap.
IntT put_characters(StringT dst, size_t at, const char *src, size_t most, UIntT enc)
{
    size_t size = length_within(src, most);
    if (size == most && !is_character(src, src + size, font_encoding(enc)))
        --size;
    if (size <= 2 * block_size)
        copy_short(dst + at, src, size);
    else
        std::memmove(dst + at, src, size);
    dst[at + size] = '\0';
    return static_cast<IntT>(at + size);
}

StringT find_character(const char *s, UCharT b1, UCharT b2, UIntT enc)
{
    const char sub[] = {static_cast<char>(b1), static_cast<char>(b2), '\0'};
    const IntT at = V_StrStrEnc(s, sub, enc);
    return at < 0 ? nullptr : const_cast<StringT>(s + at);
}

// The number of characters, of which so many are known to be ASCII.
IntT count_characters(const char *s, size_t known, UIntT enc)
{
    const VdeFontEncT &table = font_encoding(enc);
    size_t count = known;
    s += known;
    for (IntT size; (size = char_size(s, table)) != 0; ++count) {
        s += size;
        const size_t run = ascii_run(s, unbounded);
        count += run;
        s += run;
    }
    return static_cast<IntT>(count);
}

} // namespace

IntT V_StrLenEnc(const char *s, UIntT enc)
{
    if (!s || enc == vdeVeltRomanEncodingId)
        return V_StrLen(s);
    const size_t run = ascii_run(s, unbounded);
    return s[run] == '\0' ? static_cast<IntT>(run) : count_characters(s, run, enc);
}

IntT V_StrStrEnc(const char *s, const char *sub, UIntT enc)
{
    if (!s || !sub || *s == '\0')
        return -1;
    if (*sub == '\0')
        return 0;
    const VdeFontEncT &table = font_encoding(enc);
    const char *character = s;
    for (;;) {
        const IntT place = string_routines.find(bytes_of(character), bytes_of(sub));
        if (place < 0)
            return -1;
        const char *const found = character + place;
        character = next_character(character, found, table);
        if (character == found)
            return static_cast<IntT>(found - s);
    }
}

StringT V_StrChrEnc(const char *s, UCharT b1, UCharT b2, UIntT enc)
{
    const bool may_be_there = b1 == 0 || b2 != 0 || V_StrChr(s, b1);
    return may_be_there ? find_character(s, b1, b2, enc) : nullptr;
}

StringT V_StrRChrEnc(const char *s, UCharT b1, UCharT b2, UIntT enc)
{
    if (b1 == 0)
        return nullptr;
    if (b2 == 0) {
        const char *const found = s ? std::strrchr(s, b1) : nullptr;
        if (!found || is_character(s, found, font_encoding(enc)))
            return const_cast<StringT>(found);
    }
    StringT last = nullptr;
    while (const StringT found = V_StrChrEnc(s, b1, b2, enc)) {
        last = found;
        s = found + char_size(found, font_encoding(enc));
    }
    return last;
}

IntT V_StrIEqualEnc(const char *a, const char *b, UIntT enc)
{
    return compare_characters<Compare::folded>(a, b, enc, unbounded) == 0;
}

IntT V_StrIEqualNEnc(const char *a, const char *b, IntT N, UIntT enc)
{
    return N < 1 || a == b || compare_n<Compare::folded>(a, b, N, enc) == 0;
}

IntT V_StrIPrefixEnc(const char *s, const char *prefix, UIntT enc)
{
    return V_StrIEqualNEnc(s, prefix, V_StrLen(prefix), enc);
}

IntT V_StrISuffixEnc(const char *s, const char *suffix, UIntT enc)
{
    const UCharT *const end = string_routines.tail(bytes_of(s), bytes_of(suffix));
    if (or_empty(suffix)[0] == '\0')
        return 1;
    const auto *const tail = reinterpret_cast<const char *>(end);
    return tail && is_character(or_empty(s), tail, font_encoding(enc)) &&
           compare_characters<Compare::folded>(tail, suffix, enc, unbounded) == 0;
}

IntT V_StrICmpEnc(const char *a, const char *b, UIntT enc)
{
    return compare_characters<Compare::folded>(a, b, enc, unbounded);
}

IntT V_StrCmpNEnc(const char *a, const char *b, IntT N, UIntT enc)
{
    return compare_n<Compare::exact>(a, b, N, enc);
}

IntT V_StrICmpNEnc(const char *a, const char *b, IntT N, UIntT enc)
{
    return compare_n<Compare::folded>(a, b, N, enc);
}

IntT V_StrMCmpEnc(const char *a, const char *b, UIntT enc)
{
    const IntT difference = V_StrICmpEnc(a, b, enc);
    return difference != 0 ? difference : V_StrCmp(a, b);
}

IntT V_StrQsortCmpEnc(const void *pa, const void *pb, UIntT enc)
{
    return V_StrMCmpEnc(*static_cast<const char *const *>(pa),
                        *static_cast<const char *const *>(pb), enc);
}

void V_StrTruncEnc(StringT s, IntT N, UIntT enc)
{
    N = std::max(N, 0);
    V_StrTrunc(s, IsSplittingDBChar(s, N, enc) ? N - 1 : N);
}

IntT V_StrCpyNEnc(StringT dst, const char *src, IntT N, UIntT enc)
{
    return dst ? put_characters(dst, 0, or_empty(src), room_of(N), enc) : 0;
}

IntT V_StrCatNEnc(StringT dst, const char *src, IntT N, UIntT enc)
{
    if (!dst || !src || *src == '\0')
        return 0;
    const size_t length = length_of(dst);
    if (length >= room_of(N))
        return static_cast<IntT>(length);
    return put_characters(dst, length, src, room_of(N) - length, enc);
}

IntT V_StrNCatNEnc(StringT dst, const char *src, IntT count, IntT N, UIntT enc)
{
    if (!dst)
        return 0;
    if (length_of(dst) > room_of(N))
        V_StrTruncEnc(dst, static_cast<IntT>(room_of(N)), enc);
    const size_t length = length_of(dst);
    const size_t most = std::min(static_cast<size_t>(std::max(count, 0)), room_of(N) - length);
    return put_characters(dst, length, or_empty(src), most, enc);
}

IntT V_StrCatDblCharNEnc(StringT dst, UCharT b1, UCharT b2, IntT N, UIntT enc)
{
    const char src[] = {static_cast<char>(b1), static_cast<char>(b2), '\0'};
    return V_StrCatNEnc(dst, src, N, enc);
}
