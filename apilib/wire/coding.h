// The XDR encoding of every type, derived from the tables: code(xdrs, value) encodes, decodes or
// frees, as the stream says, and returns false as soon as a field fails.
//
// A count or length from the wire is not trusted: memory is allocated as the bytes arrive. After a
// failure every value can still be freed.
#pragma once

#include <algorithm>
#include <bit>
#include <cstring>

#include "apilib/wire/fields.h"
#include "apilib/wire/whole_record.h"

namespace velt
{

inline bool code(XDR *xdrs, IntT &value)
{
    return xdr_int(xdrs, &value) != 0;
}

inline bool code(XDR *xdrs, UIntT &value)
{
    return xdr_u_int(xdrs, &value) != 0;
}

inline bool code(XDR *xdrs, UCharT &value)
{
    return xdr_u_char(xdrs, &value) != 0;
}

bool code(XDR *xdrs, StringT &value);

template <Struct T>
bool code(XDR *xdrs, T &value);
template <Struct T>
bool code(XDR *xdrs, T *&value);
template <List T>
bool code(XDR *xdrs, T &value);
template <List T>
bool code(XDR *xdrs, T *&value);

template <Struct T>
bool code(XDR *xdrs, T &value)
{
    return fields(value, [xdrs](const char *, auto &field) { return code(xdrs, field); });
}

// Optional data are a flag, and the value when it is set.
template <class T>
bool code_optional(XDR *xdrs, T *&value)
{
    bool_t present = value != nullptr;
    if (!xdr_bool(xdrs, &present))
        return false;
    if (!present) {
        value = nullptr;
        return true;
    }
    if (!value) {
        value = static_cast<T *>(VapiCalloc(1, sizeof(T)));
        if (!value)
            return false;
    }
    bool done = code(xdrs, *value);
    if (xdrs->x_op == XDR_FREE) {
        V_ApiFree(value);
        value = nullptr;
    }
    return done;
}

template <Struct T>
bool code(XDR *xdrs, T *&value)
{
    return code_optional(xdrs, value);
}

template <List T>
bool code(XDR *xdrs, T *&value)
{
    return code_optional(xdrs, value);
}

// The number of 32-bit words of an element that consists of such words only; 0 for others.
template <class T>
constexpr std::size_t words_of()
{
    if constexpr (std::is_same_v<T, IntT> || std::is_same_v<T, UIntT>) {
        return 1;
    } else if constexpr (Struct<T>) {
        std::size_t words = 0;
        T value{};
        fields(value, [&words](const char *, auto &field) {
            words += words_of<std::remove_reference_t<decltype(field)>>();
            return true;
        });
        return words * 4 == sizeof(T) ? words : 0;
    } else {
        return 0;
    }
}

// Elements that are converted in blocks: those of plain words, and bytes, each of which takes a
// word on the wire.
template <class T>
constexpr bool is_plain = std::is_same_v<T, UCharT> || words_of<T>() != 0;
template <class T>
concept Plain = is_plain<T>;
// A union's member does not follow from its size, so unions must not count as plain.
static_assert(!is_plain<TextItemT> && !is_plain<TextItemDataT> && !is_plain<V_TypedValT>);

template <Plain T>
constexpr std::size_t wire_words = std::is_same_v<T, UCharT> ? 1 : words_of<T>();

// Turns words of this machine into words of the wire, or back. Compilers do not find vector
// instructions for htonl() at the usual level of optimisation, so that the shifts spell it out.
inline void convert_words(const void *from, std::size_t count, void *to)
{
    using Block __attribute__((vector_size(16))) = uint32_t;
    constexpr std::size_t in_block = sizeof(Block) / 4;
    const auto *source = static_cast<const char *>(from);
    auto *target = static_cast<char *>(to);
    std::size_t done = 0;
    if constexpr (std::endian::native == std::endian::little) {
        for (; count - done >= in_block; done += in_block) {
            Block words;
            std::memcpy(&words, source + done * 4, sizeof words);
            words = (words & 0x00ff00ff) << 8 | (words >> 8 & 0x00ff00ff);
            words = words << 16 | words >> 16;
            std::memcpy(target + done * 4, &words, sizeof words);
        }
    }
    for (; done < count; done++) {
        uint32_t word;
        std::memcpy(&word, source + done * 4, 4);
        word = htonl(word);
        std::memcpy(target + done * 4, &word, 4);
    }
}

template <Plain T>
void pack(const T *from, std::size_t count, int32_t *to)
{
    if constexpr (std::is_same_v<T, UCharT>) {
        for (std::size_t i = 0; i < count; i++)
            to[i] = static_cast<int32_t>(htonl(from[i]));
    } else {
        convert_words(from, count * wire_words<T>, to);
    }
}

template <Plain T>
void unpack(const int32_t *from, std::size_t count, T *to)
{
    if constexpr (std::is_same_v<T, UCharT>) {
        for (std::size_t i = 0; i < count; i++)
            to[i] = static_cast<UCharT>(ntohl(static_cast<uint32_t>(from[i])));
    } else {
        convert_words(from, count * wire_words<T>, to);
    }
}

template <class T>
bool code_elements(XDR *xdrs, T *elements, std::size_t count)
{
    std::size_t done = 0;
    if constexpr (Plain<T>) {
        // A block that the stream's buffer holds in one piece is converted in place.
        constexpr std::size_t block = std::max<std::size_t>(64 / wire_words<T>, 1);
        while (done < count) {
            std::size_t step = std::min(block, count - done);
            auto *words = xdrs->x_op == XDR_FREE
                              ? nullptr
                              : XDR_INLINE(xdrs, static_cast<u_int>(step * wire_words<T> * 4));
            if (!words) {
                for (std::size_t i = 0; i < step; i++)
                    if (!code(xdrs, elements[done + i]))
                        return false;
            } else if (xdrs->x_op == XDR_ENCODE) {
                pack(elements + done, step, words);
            } else {
                unpack(words, step, elements + done);
            }
            done += step;
        }
    } else {
        while (done < count)
            if (!code(xdrs, elements[done++]))
                return false;
    }
    return true;
}

// The number of bytes that a decoder allocates before the data that a count announces have arrived.
constexpr std::size_t trusted_bytes = 65536;

template <List T>
bool decode_list(XDR *xdrs, T &list)
{
    using E = Element<T>;
    UIntT count;
    list.len = 0;
    // Every element takes at least one word.
    if (!code(xdrs, count) || !may_hold(xdrs, std::uint64_t{4} * count))
        return false;
    // The elements go into the array that the caller gave, or else into a new one that grows as
    // they are decoded.
    if (list.val) {
        list.len = count;
        return code_elements(xdrs, list.val, count);
    }
    std::size_t room = 0;
    while (list.len < count) {
        std::size_t step = std::max<std::size_t>(room, trusted_bytes / sizeof(E) + 1);
        step = std::min<std::size_t>(step, count - list.len);
        auto *grown =
            static_cast<E *>(VapiRealloc(static_cast<void *>(list.val), (room + step) * sizeof(E)));
        if (!grown)
            return false;
        list.val = grown;
        std::memset(static_cast<void *>(grown + room), 0, step * sizeof(E));
        room += step;
        // The new elements are zero, so that all of the array can be freed if decoding fails.
        UIntT first = list.len;
        list.len = static_cast<UIntT>(room);
        if (!code_elements(xdrs, grown + first, step))
            return false;
    }
    return true;
}

template <List T>
bool code(XDR *xdrs, T &list)
{
    switch (xdrs->x_op) {
    case XDR_ENCODE:
        return (list.val || list.len == 0) && code(xdrs, list.len) &&
               code_elements(xdrs, list.val, list.len);
    case XDR_DECODE:
        return decode_list(xdrs, list);
    case XDR_FREE:
        if (list.val) {
            code_elements(xdrs, list.val, list.len);
            V_ApiFree(static_cast<void *>(list.val));
        }
        list = {};
        return true;
    }
    return false;
}

} // namespace velt
