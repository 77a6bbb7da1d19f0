// String routines that know two-byte characters.

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "vdelib/encconv/bytemaps.h"
#include "vdelib/strings/characters.h"
#include "vdelib/strings/compare.h"
#include "velt/vde/fontenc.h"
#include "velt/vde/quire.h"
#include "velt/vde/strings.h"

namespace
{

using namespace velt;

struct Char {
    IntT value; // b1 * 256 + b2 of a two-byte character
    IntT size;  // in bytes; 0 at the end of the string
};

template <Case fold>
Char char_at(const char *s, const VdeFontEncT &enc)
{
    const IntT size = char_size(s, enc);
    const auto first = static_cast<UCharT>(s[0]);
    if (size == 2)
        return {first * 256 + static_cast<UCharT>(s[1]), size};
    return {fold == Case::folded && size == 1 ? VdeQToLower[first] : first, size};
}

constexpr size_t unbounded = SIZE_MAX;

// The number of ASCII characters at the beginnings of both that are alike, at most `most`. In every
// encoding they are characters of one byte.
template <Case fold>
size_t ascii_alike(const char *a, const char *b, size_t most)
{
    if (static_cast<signed char>(*a) <= 0 ||
        (fold == Case::folded && VdeQToLower != standard_lower))
        return 0;
    return alike<fold, Bytes::only_ascii>(reinterpret_cast<const UCharT *>(a),
                                          reinterpret_cast<const UCharT *>(b), most);
}

size_t ascii_run(const char *s, size_t most)
{
    return ascii_alike<Case::exact>(s, s, most);
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

// Difference of the first differing characters among the first `most` bytes of a; the last
// character counts whole, and at least one.
template <Case fold>
IntT compare(const char *a, const char *b, UIntT enc, size_t most)
{
    if (!a)
        a = "";
    if (!b)
        b = "";
    const VdeFontEncT &table = font_encoding(enc);
    size_t done = 0;
    do {
        const size_t run = ascii_alike<fold>(a + done, b + done, std::max(most, done) - done);
        done += run;
        if (run != 0 && done >= most)
            break;
        const Char ca = char_at<fold>(a + done, table);
        const Char cb = char_at<fold>(b + done, table);
        if (ca.value != cb.value || ca.size == 0)
            return ca.value - cb.value;
        done += static_cast<size_t>(ca.size);
    } while (done < most);
    return 0;
}

// Compares at least one character, unless N is 0.
template <Case fold>
IntT compare_n(const char *a, const char *b, IntT N, UIntT enc)
{
    return N == 0 ? 0 : compare<fold>(a, b, enc, static_cast<size_t>(std::max(N, 0)));
}

// Returns whether a two-byte character occupies the bytes n - 1 and n of s.
bool IsSplittingDBChar(const char *s, IntT n, UIntT enc)
{
    if (!s || n <= 0 || strnlen(s, static_cast<size_t>(n)) < static_cast<size_t>(n))
        return false;
    const VdeFontEncT &table = font_encoding(enc);
    // A byte that can begin no two-byte character ends one, of either size.
    const char *begin = s + n;
    while (begin > s && table.firstByte[static_cast<UCharT>(begin[-1])] != 0)
        --begin;
    return next_character(begin, s + n, table) > s + n;
}

// The number of bytes, at most count, that may be taken of s without splitting a character.
IntT whole_chars(const char *s, IntT count, UIntT enc)
{
    return IsSplittingDBChar(s, count, enc) ? count - 1 : count;
}

} // namespace

IntT V_StrLenEnc(const char *s, UIntT enc)
{
    if (!s || enc == vdeVeltRomanEncodingId)
        return V_StrLen(s);
    const VdeFontEncT &table = font_encoding(enc);
    size_t count = 0;
    for (;;) {
        const size_t run = ascii_run(s, unbounded);
        count += run;
        s += run;
        const IntT size = char_size(s, table);
        if (size == 0)
            return static_cast<IntT>(count);
        s += size;
        ++count;
    }
}

IntT V_StrStrEnc(const char *s, const char *sub, UIntT enc)
{
    if (!s || !sub || *s == '\0')
        return -1;
    const VdeFontEncT &table = font_encoding(enc);
    const char *character = s;
    for (const char *found = s; (found = std::strstr(found, sub)); found = character) {
        character = next_character(character, found, table);
        if (character == found)
            return static_cast<IntT>(found - s);
    }
    return -1;
}

StringT V_StrChrEnc(const char *s, UCharT b1, UCharT b2, UIntT enc)
{
    const char sub[] = {static_cast<char>(b1), static_cast<char>(b2), '\0'};
    const IntT at = V_StrStrEnc(s, sub, enc);
    return at < 0 ? nullptr : const_cast<StringT>(s + at);
}

StringT V_StrRChrEnc(const char *s, UCharT b1, UCharT b2, UIntT enc)
{
    if (b1 == 0)
        return nullptr;
    StringT last = nullptr;
    while (const StringT found = V_StrChrEnc(s, b1, b2, enc)) {
        last = found;
        s = found + char_size(found, font_encoding(enc));
    }
    return last;
}

IntT V_StrIEqualEnc(const char *a, const char *b, UIntT enc)
{
    return V_StrICmpEnc(a, b, enc) == 0;
}

IntT V_StrIEqualNEnc(const char *a, const char *b, IntT N, UIntT enc)
{
    return N < 1 || a == b || V_StrICmpNEnc(a, b, N, enc) == 0;
}

IntT V_StrIPrefixEnc(const char *s, const char *prefix, UIntT enc)
{
    return V_StrIEqualNEnc(s, prefix, V_StrLen(prefix), enc);
}

IntT V_StrISuffixEnc(const char *s, const char *suffix, UIntT enc)
{
    const IntT length = V_StrLen(suffix);
    const IntT start = V_StrLen(s) - length;
    if (length == 0)
        return 1;
    return s && start >= 0 && !IsSplittingDBChar(s, start, enc) &&
           V_StrIEqualEnc(s + start, suffix, enc);
}

IntT V_StrICmpEnc(const char *a, const char *b, UIntT enc)
{
    return compare<Case::folded>(a, b, enc, unbounded);
}

IntT V_StrCmpNEnc(const char *a, const char *b, IntT N, UIntT enc)
{
    return compare_n<Case::exact>(a, b, N, enc);
}

IntT V_StrICmpNEnc(const char *a, const char *b, IntT N, UIntT enc)
{
    return compare_n<Case::folded>(a, b, N, enc);
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
    V_StrTrunc(s, whole_chars(s, std::max(N, 0), enc));
}

IntT V_StrCpyNEnc(StringT dst, const char *src, IntT N, UIntT enc)
{
    return N <= 1 ? V_StrCpyN(dst, src, N) : V_StrCpyN(dst, src, whole_chars(src, N - 1, enc) + 1);
}

IntT V_StrCatNEnc(StringT dst, const char *src, IntT N, UIntT enc)
{
    if (!dst || V_StrLen(src) == 0)
        return 0;
    const IntT length = V_StrLen(dst);
    if (length >= std::int64_t{N} - 1)
        return length;
    return V_StrCatN(dst, src, length + whole_chars(src, N - 1 - length, enc) + 1);
}

IntT V_StrNCatNEnc(StringT dst, const char *src, IntT count, IntT N, UIntT enc)
{
    if (!dst)
        return 0;
    const IntT most = std::max(N, 1) - 1;
    if (V_StrLen(dst) > most)
        V_StrTruncEnc(dst, most, enc);
    count = std::min(count, most - V_StrLen(dst));
    return V_StrNCatN(dst, src, whole_chars(src, count, enc), N);
}

IntT V_StrCatDblCharNEnc(StringT dst, UCharT b1, UCharT b2, IntT N, UIntT enc)
{
    const char src[] = {static_cast<char>(b1), static_cast<char>(b2), '\0'};
    return V_StrCatNEnc(dst, src, N, enc);
}
