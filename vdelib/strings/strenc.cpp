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

// The first of the bytes before `at` that can each begin a two-byte character, not before `begin`.
const char *row_before(const char *at, const char *begin, UIntT enc)
{
    // No byte of ASCII can.
    if (at == begin || static_cast<signed char>(at[-1]) >= 0)
        return at;
    return reinterpret_cast<const char *>(string_routines.row_before(
        reinterpret_cast<const UCharT *>(at), reinterpret_cast<const UCharT *>(begin), enc));
}

bool ends_pair(char byte, UIntT enc)
{
    return font_encoding(enc).secondByte[static_cast<UCharT>(byte)] != 0;
}

// Whether a character begins at `at`, where one does at `begin`.
bool is_character(const char *begin, const char *at, UIntT enc)
{
    return !ends_pair(*at, enc) || (at - row_before(at, begin, enc)) % 2 == 0;
}

// Difference of the first differing characters among the first `most` bytes of a, which are not 0;
// the last character counts whole.
template <Compare which>
IntT difference_of_characters(const UCharT *p, const UCharT *q, size_t most, UIntT enc)
{
    const auto *const a = reinterpret_cast<const char *>(p);
    const auto *const b = reinterpret_cast<const char *>(q);
    const VdeFontEncT &table = font_encoding(enc);
    size_t at = 0;
    while (at < most) {
        if (which == Compare::folded && folds_as_vectors<which>()) {
            if (p[at] <= INT8_MAX)
                at += string_routines.ascii_alike_folded(p + at, q + at, most - at);
            at = string_routines.alike_characters(p, q, at, most, enc);
        } else {
            const size_t begin = at;
            at += string_routines.alike(p + at, q + at, most - at);
            // A character of which only the first byte is alike, or within the limit.
            at -= static_cast<size_t>(a + at - row_before(a + at, a + begin, enc)) % 2;
        }
        if (at >= most)
            break;
        const Char ca = char_at<which>(a + at, table);
        const Char cb = char_at<which>(b + at, table);
        // A table may have the image 0 for a character, which is not the end then.
        if (ca.value != cb.value || ca.size == 0 || cb.size == 0)
            return ca.value - cb.value;
        at += static_cast<size_t>(ca.size);
    }
    return 0;
}

template <Compare which>
IntT compare_characters(const char *a, const char *b, UIntT enc, size_t most)
{
    const auto compare = which == Compare::exact ? string_routines.encoded_difference
                                                 : string_routines.encoded_difference_folded;
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
    return s && length_within(s, size) == size && !is_character(s, s + size, enc);
}

// Copies the first characters of src, at most `most` bytes, to dst[at] and terminates dst after
// them. The two may overlap.
IntT put_characters(StringT dst, size_t at, const char *src, size_t most, UIntT enc)
{
    size_t size = length_within(src, most);
    if (size == most && size > 0 && !is_character(src, src + size, enc))
        --size;
    if (size <= 2 * block_size)
        copy_short(dst + at, src, size);
    else
        std::memmove(dst + at, src, size);
    dst[at + size] = '\0';
    return static_cast<IntT>(at + size);
}

// The first place that `find` finds and that is a character's.
StringT first_character(const char *s, UIntT enc, auto find)
{
    for (;;) {
        const char *const found = find(s);
        if (!found || is_character(s, found, enc))
            return const_cast<StringT>(found);
        s = found + 1; // behind the second byte of a character
    }
}

// The last character b1 b2, or b1 if b2 is 0, that does not end behind the byte found.
[[gnu::noinline]] StringT last_character(const char *s, const char *found, UCharT b1, UCharT b2,
                                         UIntT enc)
{
    const char *row = nullptr;
    for (const auto last = static_cast<UCharT>(*found); found;
         found = static_cast<const char *>(memrchr(s, last, static_cast<size_t>(found - s)))) {
        const char *const at = b2 != 0 ? found - 1 : found;
        if (at < s || static_cast<UCharT>(*at) != b1)
            continue;
        if (ends_pair(*at, enc) && (!row || at < row))
            row = row_before(at, s, enc);
        if (!ends_pair(*at, enc) || (at - row) % 2 == 0)
            return const_cast<StringT>(at);
    }
    return nullptr;
}

} // namespace

IntT V_StrLenEnc(const char *s, UIntT enc)
{
    if (!s || known_encoding(enc) == vdeVeltRomanEncodingId)
        return V_StrLen(s);
    return string_routines.characters(bytes_of(s), enc);
}

IntT V_StrStrEnc(const char *s, const char *sub, UIntT enc)
{
    if (!s || !sub || *s == '\0')
        return -1;
    if (*sub == '\0')
        return 0;
    const StringT found = first_character(s, enc, [sub](const char *from) {
        const IntT place = string_routines.find(bytes_of(from), bytes_of(sub));
        return place < 0 ? nullptr : from + place;
    });
    return found ? static_cast<IntT>(found - s) : -1;
}

StringT V_StrChrEnc(const char *s, UCharT b1, UCharT b2, UIntT enc)
{
    if (!s || *s == '\0')
        return nullptr;
    if (b1 == 0)
        return const_cast<StringT>(s);
    if (b2 == 0)
        return first_character(s, enc, [b1](const char *from) { return std::strchr(from, b1); });
    return first_character(s, enc, [b1, b2](const char *from) {
        return reinterpret_cast<const char *>(string_routines.find_pair(bytes_of(from), b1, b2));
    });
}

StringT V_StrRChrEnc(const char *s, UCharT b1, UCharT b2, UIntT enc)
{
    if (!s || b1 == 0)
        return nullptr;
    const char *const found = std::strrchr(s, b2 != 0 ? b2 : b1);
    if (!found || (b2 == 0 && (found == s || static_cast<signed char>(found[-1]) >= 0 ||
                               !ends_pair(*found, enc))))
        return const_cast<StringT>(found);
    return last_character(s, found, b1, b2, enc);
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
    return tail && is_character(or_empty(s), tail, enc) &&
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
    // What is alike byte for byte is so in any case.
    const IntT exact = V_StrCmp(a, b);
    const IntT folded = exact != 0 ? V_StrICmpEnc(a, b, enc) : 0;
    return folded != 0 ? folded : exact;
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
