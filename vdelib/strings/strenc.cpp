// String routines that know two-byte characters.

#include <algorithm>
#include <cstdint>

#include "vdelib/strings/characters.h"
#include "velt/vde/fontenc.h"
#include "velt/vde/quire.h"
#include "velt/vde/strings.h"

namespace
{

using velt::char_size;
using velt::font_encoding;

enum class Case { exact, folded };

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

// Difference of the first differing characters of a and b. `more` tells, for a number of bytes of
// a, whether the comparison goes on after them.
template <Case fold>
IntT compare(const char *a, const char *b, UIntT enc, auto more)
{
    if (!a)
        a = "";
    if (!b)
        b = "";
    const VdeFontEncT &table = font_encoding(enc);
    IntT done = 0;
    for (;;) {
        const Char ca = char_at<fold>(a, table);
        const Char cb = char_at<fold>(b, table);
        if (ca.value != cb.value || ca.size == 0)
            return ca.value - cb.value;
        a += ca.size;
        b += cb.size;
        done += ca.size;
        if (!more(done))
            return 0;
    }
}

// Compares at least one character, unless N is 0.
template <Case fold>
IntT compare_n(const char *a, const char *b, IntT N, UIntT enc)
{
    return N == 0 ? 0 : compare<fold>(a, b, enc, [N](IntT done) { return done < N; });
}

constexpr auto to_the_end = [](IntT) { return true; };

// Returns whether a two-byte character occupies the bytes n - 1 and n of s.
bool IsSplittingDBChar(const char *s, IntT n, UIntT enc)
{
    if (!s || n <= 0)
        return false;
    const VdeFontEncT &table = font_encoding(enc);
    IntT at = 0;
    while (at < n) {
        const IntT size = char_size(s + at, table);
        if (size == 0)
            return false;
        at += size;
    }
    return at > n;
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
    IntT count = 0;
    while (const IntT size = char_size(s, table)) {
        s += size;
        ++count;
    }
    return count;
}

IntT V_StrStrEnc(const char *s, const char *sub, UIntT enc)
{
    if (!s || !sub)
        return -1;
    const VdeFontEncT &table = font_encoding(enc);
    for (IntT at = 0; s[at] != '\0'; at += char_size(s + at, table))
        if (V_StrPrefix(s + at, sub))
            return at;
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
    const IntT start = V_StrLen(s) - V_StrLen(suffix);
    if (V_StrLen(suffix) == 0)
        return 1;
    return s && start >= 0 && !IsSplittingDBChar(s, start, enc) &&
           V_StrIEqualEnc(s + start, suffix, enc);
}

IntT V_StrICmpEnc(const char *a, const char *b, UIntT enc)
{
    return compare<Case::folded>(a, b, enc, to_the_end);
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
