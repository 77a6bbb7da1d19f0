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
#include "apilib/wire/streams.h"

namespace velt
{

inline bool code(XDR *xdrs, UIntT &value)
{
    if (is_whole_record(xdrs))
        return WholeRecord::take_word(xdrs, value);
    if (char *to = is_record_writer(xdrs) ? place(xdrs, sizeof value) : nullptr) {
        put_word(to, value);
        return true;
    }
    return xdrs->x_op == XDR_FREE || xdr_u_int(xdrs, &value) != 0;
}

inline bool code(XDR *xdrs, IntT &value)
{
    return code(xdrs, reinterpret_cast<UIntT &>(value));
}

inline bool code(XDR *xdrs, UCharT &value)
{
    UIntT word = value;
    const bool done = code(xdrs, word);
    if (done && xdrs->x_op == XDR_DECODE)
        value = static_cast<UCharT>(word);
    return done;
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

constexpr std::size_t padded(std::size_t length)
{
    return (length + 3) / 4 * 4;
}

// Copies text, and a null after it, from where `readable` bytes stand to where there are at least
// least_room. The lengths of strings follow no pattern that a processor could predict, so that most
// are copied by moves of a constant size, which may overlap, whatever their length is.
constexpr std::size_t least_room = 8;
inline void copy_text(char *to, const char *from, std::size_t length, std::size_t readable)
{
    using Word = std::uint64_t;
    constexpr std::size_t size = sizeof(Word);
    static_assert(size == least_room);
    if (length < size && readable >= size) {
        Word word;
        std::memcpy(&word, from, size);
        constexpr Word all = ~Word{0};
        const std::size_t bits = 8 * length;
        word &= std::endian::native == std::endian::little ? ~(all << bits) : ~(all >> bits);
        std::memcpy(to, &word, size);
        return;
    }
    if (length >= size && length <= 3 * size) {
        const std::size_t last = length - size;
        const std::size_t middle = std::min(size, last);
        char parts[3][size];
        std::memcpy(parts[0], from, size);
        std::memcpy(parts[1], from + middle, size);
        std::memcpy(parts[2], from + last, size);
        std::memcpy(to, parts[0], size);
        std::memcpy(to + middle, parts[1], size);
        std::memcpy(to + last, parts[2], size);
    } else {
        std::memcpy(to, from, length);
    }
    to[length] = '\0';
}

// Decodes a string of a whole record into memory of its own.
inline bool decode_new(Rest &rest, StringT &value)
{
    UIntT size = 0;
    if (!rest.take_word(size) || size > rest.size)
        return false;
    const std::size_t readable = rest.size;
    const char *bytes = rest.take(padded(size));
    if (!bytes)
        return false;
    value = static_cast<StringT>(VapiMalloc(std::max(size + std::size_t{1}, least_room)));
    if (value)
        copy_text(value, bytes, size, readable);
    return value != nullptr;
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

// Decodes elements into memory that has just been allocated. Most of the time of a list of strings
// is that of its allocations, so that the rest has to be short. All elements can be freed
// afterwards.
template <class T>
bool decode_new_elements(XDR *xdrs, T *elements, std::size_t count, bool zero)
{
    if constexpr (std::is_same_v<T, StringT>) {
        if (is_whole_record(xdrs)) {
            Rest rest(xdrs);
            std::size_t done = 0;
            while (done < count && decode_new(rest, elements[done]))
                done++;
            rest.put_back(xdrs);
            std::fill(elements + done, elements + count, nullptr);
            return done == count;
        }
    }
    if (!zero)
        std::memset(static_cast<void *>(elements), 0, count * sizeof(T));
    return code_elements(xdrs, elements, count);
}

// The least number of words that a value takes.
template <class T>
constexpr std::size_t least_words()
{
    std::size_t words = 1;
    if constexpr (Struct<T> && !std::is_same_v<T, V_PropIdentT>) {
        words = 0;
        T value{};
        fields(value, [&words](const char *, auto &field) {
            words += least_words<std::remove_reference_t<decltype(field)>>();
            return true;
        });
    }
    return words;
}

// The number of bytes that a decoder allocates before the data that a count announces have arrived.
constexpr std::size_t trusted_bytes = 65536;

template <List T>
bool decode_list(XDR *xdrs, T &list)
{
    using E = Element<T>;
    UIntT count = 0;
    list.len = 0;
    if (!code(xdrs, count) || !may_hold(xdrs, 4 * least_words<E>() * std::uint64_t{count}))
        return false;
    // The elements go into the array that the caller gave, or else into a new one. That has room
    // for all when the record holds as many as were announced, and else grows as they are decoded.
    if (list.val) {
        list.len = count;
        return code_elements(xdrs, list.val, count);
    }
    std::size_t room = 0;
    while (list.len < count) {
        const std::size_t most = is_whole_record(xdrs)
                                     ? count
                                     : std::max<std::size_t>(room, trusted_bytes / sizeof(E) + 1);
        const std::size_t step = std::min<std::size_t>(most, count - list.len);
        const std::size_t size = (room + step) * sizeof(E);
        // Memory that comes fresh from the system is zero.
        const bool zero = !list.val && size > trusted_bytes;
        auto *grown = static_cast<E *>(zero       ? VapiCalloc(1, size)
                                       : list.val ? VapiRealloc(static_cast<void *>(list.val), size)
                                                  : VapiMalloc(size));
        if (!grown)
            return false;
        list.val = grown;
        room += step;
        const UIntT first = std::exchange(list.len, static_cast<UIntT>(room));
        if (!decode_new_elements(xdrs, grown + first, step, zero))
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
