// Making, copying, searching and editing strings.

#include "velt/vde/strings.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "vdelib/strings/routines.h"
#include "velt/vde/formatted.h"
#include "velt/vde/memory.h"

namespace
{

using namespace velt;

IntT put_most(StringT dst, size_t at, const char *src, size_t most)
{
    // Of what is not copied nothing may be read.
    if (!src || most == 0) [[unlikely]]
        src = "";
    return static_cast<IntT>(
        string_routines.put(dst + at, at, reinterpret_cast<const UCharT *>(src), most, src));
}

IntT copy_most(StringT dst, const char *src, size_t most)
{
    if (!src || most == 0) [[unlikely]]
        src = "";
    return static_cast<IntT>(
        string_routines.put(dst, 0, reinterpret_cast<const UCharT *>(src), most, dst));
}

IntT append(StringT dst, const char *src, size_t room)
{
    if (!dst) [[unlikely]]
        return 0;
    if (!src) [[unlikely]]
        src = "";
    return static_cast<IntT>(
        string_routines.append(dst, reinterpret_cast<const UCharT *>(src), room));
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
    const size_t size = length_of(s) + 1;
    void *const copy = V_Alloc(static_cast<UIntT>(std::min<size_t>(size, UINT_MAX)), 0);
    if (!copy)
        return nullptr;
    if (size > 2 * block_size)
        return static_cast<StringT>(std::memcpy(copy, s, size));
    copy_short(static_cast<StringT>(copy), s, size);
    return static_cast<StringT>(copy);
}

IntT V_StrLen(const char *s)
{
    return s ? string_routines.size(bytes_of(s)) : 0;
}

void V_StrTrunc(StringT s, IntT index)
{
    if (s)
        s[index] = '\0';
}

void V_StrCpy(StringT dst, const char *src)
{
    if (dst)
        copy_most(dst, src, unbounded);
}

IntT V_StrCpyN(StringT dst, const char *src, IntT N)
{
    if (!dst)
        return 0;
    return copy_most(dst, src, room_of(N));
}

IntT V_StrCat(StringT dst, const char *src)
{
    return append(dst, src, unbounded);
}

IntT V_StrCatN(StringT dst, const char *src, IntT N)
{
    return append(dst, src, room_of(N));
}

IntT V_StrNCatN(StringT dst, const char *src, IntT count, IntT N)
{
    if (!dst)
        return 0;
    const size_t length = *dst == '\0' ? 0 : length_within(dst, room_of(N));
    const auto wanted = static_cast<size_t>(std::max(count, 0));
    return put_most(dst, length, src, std::min(wanted, room_of(N) - length));
}

IntT V_StrCatCharN(StringT dst, IntT c, IntT N)
{
    const size_t length = length_of(dst);
    if (!dst || length >= room_of(N))
        return static_cast<IntT>(length);
    dst[length] = static_cast<char>(c);
    dst[length + 1] = '\0';
    return static_cast<IntT>(length + 1);
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
    return s && byte != '\0' ? const_cast<StringT>(std::strchr(s, byte)) : nullptr;
}

StringT V_StrRChr(const char *s, IntT c)
{
    const char byte = static_cast<char>(c);
    return s && byte != '\0' ? const_cast<StringT>(std::strrchr(s, byte)) : nullptr;
}

IntT V_StrSubString(const char *s, const char *sub)
{
    if (!s || !sub || *s == '\0')
        return -1;
    if (*sub == '\0')
        return 0;
    return string_routines.find(bytes_of(s), bytes_of(sub));
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
        std::reverse(s, s + length_within(s, static_cast<size_t>(N)));
}

IntT V_StrAlphaToInt(const char *s)
{
    if (!s)
        return 0;
    const char *const digits = *s == '-' ? s + 1 : s;
    const char *p = digits;
    long value = 0;
    // What begins otherwise, and numbers of more digits, are left to the C library.
    for (; *p >= '0' && *p <= '9' && value <= LONG_MAX / 10 - 1; ++p)
        value = value * 10 + (*p - '0');
    if (p == digits || (*p >= '0' && *p <= '9'))
        return std::atoi(s);
    return static_cast<IntT>(digits == s ? value : -value);
}

double V_StrAlphaToReal(const char *s)
{
    return s ? std::strtod(s, nullptr) : 0.0;
}
