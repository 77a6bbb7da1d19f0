// Making, copying, searching and editing strings.

#include "velt/vde/strings.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "vdelib/strings/compare.h"
#include "velt/vde/formatted.h"
#include "velt/vde/memory.h"

namespace
{

using namespace velt;

constexpr size_t unbounded = PTRDIFF_MAX;

const char *or_empty(const char *s)
{
    return s ? s : "";
}

size_t length_of(const char *s)
{
    return std::strlen(or_empty(s));
}

// How many characters a buffer of N bytes holds.
size_t room_of(IntT N)
{
    return N > 1 ? static_cast<size_t>(N) - 1 : 0;
}

// Copies the first `count` bytes of src to dst[at], terminates dst after them and returns its
// length. The two may overlap, so that a string can be moved inside itself.
IntT put(StringT dst, size_t at, const char *src, size_t count)
{
    std::memmove(dst + at, src, count);
    dst[at + count] = '\0';
    return static_cast<IntT>(at + count);
}

// Copies at most so many characters of src to dst[at], as put does.
IntT put_most(StringT dst, size_t at, const char *src, size_t most)
{
    // A short string has its end found and is copied in the same blocks. All of it is loaded before
    // anything is stored, because the two may overlap.
    const auto *const bytes = reinterpret_cast<const UCharT *>(src);
    if (may_load(2 * block_size, bytes, bytes)) {
        const Block first = load_block(src);
        size_t count = static_cast<size_t>(first_set(first == 0));
        if (count == block_size)
            count += static_cast<size_t>(first_set(load_block(src + block_size) == 0));
        count = std::min(count, most);
        if (count < 2 * block_size) {
            char *const to = dst + at;
            if (count >= block_size) {
                const Block last = load_block(src + count - block_size);
                store_block(to, first);
                store_block(to + count - block_size, last);
            } else {
                store_part(to, first, count);
            }
            to[count] = '\0';
            return static_cast<IntT>(at + count);
        }
    }
    return put(dst, at, src, strnlen(src, most));
}

} // namespace

StringT V_StrNew(IntT length)
{
    return static_cast<StringT>(V_Calloc(static_cast<UIntT>(length) + 1, 1, 0));
}

StringT V_StrCopyString(const char *s)
{
    if (!s)
        return nullptr;
    const size_t size = std::strlen(s) + 1;
    auto *copy = static_cast<StringT>(V_Alloc(static_cast<UIntT>(size), 0));
    if (copy)
        std::memcpy(copy, s, size);
    return copy;
}

IntT V_StrLen(const char *s)
{
    return static_cast<IntT>(length_of(s));
}

void V_StrTrunc(StringT s, IntT index)
{
    if (s)
        s[index] = '\0';
}

void V_StrCpy(StringT dst, const char *src)
{
    if (dst)
        put_most(dst, 0, or_empty(src), unbounded);
}

IntT V_StrCpyN(StringT dst, const char *src, IntT N)
{
    if (!dst)
        return 0;
    return put_most(dst, 0, or_empty(src), room_of(N));
}

IntT V_StrCat(StringT dst, const char *src)
{
    if (!dst)
        return 0;
    return put_most(dst, length_of(dst), or_empty(src), unbounded);
}

IntT V_StrCatN(StringT dst, const char *src, IntT N)
{
    const size_t length = length_of(dst);
    if (!dst || length >= room_of(N))
        return static_cast<IntT>(length);
    return put_most(dst, length, or_empty(src), room_of(N) - length);
}

IntT V_StrNCatN(StringT dst, const char *src, IntT count, IntT N)
{
    if (!dst)
        return 0;
    src = or_empty(src);
    const size_t length = strnlen(dst, room_of(N));
    const auto wanted = static_cast<size_t>(std::max(count, 0));
    return put(dst, length, src, strnlen(src, std::min(wanted, room_of(N) - length)));
}

IntT V_StrCatCharN(StringT dst, IntT c, IntT N)
{
    const size_t length = length_of(dst);
    if (!dst || length >= room_of(N))
        return static_cast<IntT>(length);
    const char byte = static_cast<char>(c);
    return put(dst, length, &byte, 1);
}

IntT V_StrCatIntN(StringT dst, IntT i, IntT N)
{
    char text[sizeof "-2147483648"];
    V_Sprintf(text, "%d", i);
    return V_StrCatN(dst, text, N);
}

StringT V_StrChr(const char *s, IntT c)
{
    const char byte = static_cast<char>(c);
    return byte == '\0' ? nullptr : const_cast<StringT>(std::strchr(or_empty(s), byte));
}

StringT V_StrRChr(const char *s, IntT c)
{
    const char byte = static_cast<char>(c);
    return byte == '\0' ? nullptr : const_cast<StringT>(std::strrchr(or_empty(s), byte));
}

IntT V_StrSubString(const char *s, const char *sub)
{
    if (!s || !sub || *s == '\0')
        return -1;
    const char *found = std::strstr(s, sub);
    return found ? static_cast<IntT>(found - s) : -1;
}

void V_StrStrip(StringT s, const char *set)
{
    if (!s)
        return;
    const auto in_set = [set](char c) { return V_StrChr(set, c) != nullptr; };
    *std::remove_if(s, s + length_of(s), in_set) = '\0';
}

void V_StrStripLeadingSpaces(StringT s)
{
    if (s)
        V_StrCpy(s, s + std::strspn(s, " "));
}

void V_StrStripTrailingSpaces(StringT s)
{
    for (size_t length = length_of(s); length > 0 && s[length - 1] == ' '; --length)
        s[length - 1] = '\0';
}

void V_StrReverse(StringT s, IntT N)
{
    if (s && N > 1)
        std::reverse(s, s + strnlen(s, static_cast<size_t>(N)));
}

IntT V_StrAlphaToInt(const char *s)
{
    return std::atoi(or_empty(s));
}

double V_StrAlphaToReal(const char *s)
{
    return std::atof(or_empty(s));
}
