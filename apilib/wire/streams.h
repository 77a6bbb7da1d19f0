// The streams of the transport. Encoders and decoders recognise them by their operations, which
// they do without: they read and write in place, and know of a record that has arrived whole how
// many bytes can follow.
#pragma once

#include <rpc/rpc.h>
#include <arpa/inet.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace velt
{

// What is left of the record: the next byte is at x_private, the first at x_base, and x_handy bytes
// follow. A loop keeps a copy, which the compiler holds in registers.
struct Rest {
    const char *next;
    std::size_t size;

    explicit Rest(const XDR *xdrs)
        : next(static_cast<const char *>(xdrs->x_private)), size(xdrs->x_handy)
    {
    }
    void put_back(XDR *xdrs) const
    {
        xdrs->x_private = const_cast<char *>(next);
        xdrs->x_handy = static_cast<u_int>(size);
    }
    // Returns where so many bytes stand, which are then read; null when fewer are left.
    const char *take(std::size_t count)
    {
        if (count > size)
            return nullptr;
        size -= count;
        return std::exchange(next, next + count);
    }
    bool take_word(std::uint32_t &word)
    {
        const char *at = take(sizeof word);
        if (at) {
            std::memcpy(&word, at, sizeof word);
            word = ntohl(word);
        }
        return at != nullptr;
    }
};

// The operations of the stream, as the RPC library's routines call them.
struct WholeRecord {
    static const char *take(XDR *xdrs, std::size_t count)
    {
        Rest rest(xdrs);
        const char *at = rest.take(count);
        rest.put_back(xdrs);
        return at;
    }
    static bool take_word(XDR *xdrs, std::uint32_t &word)
    {
        Rest rest(xdrs);
        const bool taken = rest.take_word(word);
        rest.put_back(xdrs);
        return taken;
    }

    static bool_t getlong(XDR *xdrs, long *value)
    {
        std::uint32_t word;
        if (!take_word(xdrs, word))
            return FALSE;
        *value = static_cast<std::int32_t>(word);
        return TRUE;
    }
    static bool_t putlong(XDR *, const long *) { return FALSE; }
    static bool_t getbytes(XDR *xdrs, char *to, u_int size)
    {
        const char *at = take(xdrs, size);
        if (at && size)
            std::memcpy(to, at, size);
        return at != nullptr;
    }
    static bool_t putbytes(XDR *, const char *, u_int) { return FALSE; }
    static u_int getpostn(XDR *xdrs)
    {
        return static_cast<u_int>(static_cast<char *>(xdrs->x_private) - xdrs->x_base);
    }
    static bool_t setpostn(XDR *xdrs, u_int position)
    {
        const u_int size = getpostn(xdrs) + xdrs->x_handy;
        if (position > size)
            return FALSE;
        xdrs->x_private = xdrs->x_base + position;
        xdrs->x_handy = size - position;
        return TRUE;
    }
    static int32_t *in_line(XDR *xdrs, u_int size)
    {
        // Callers use the words where they stand.
        if (reinterpret_cast<std::uintptr_t>(xdrs->x_private) % alignof(int32_t) != 0)
            return nullptr;
        return reinterpret_cast<int32_t *>(const_cast<char *>(take(xdrs, size)));
    }
    static bool_t control(XDR *, int, void *) { return FALSE; }
};

inline constexpr XDR::xdr_ops whole_record_operations = {
    WholeRecord::getlong,  WholeRecord::putlong,  WholeRecord::getbytes, WholeRecord::putbytes,
    WholeRecord::getpostn, WholeRecord::setpostn, WholeRecord::in_line,  nullptr,
    WholeRecord::control};

// The stream with which xdr_free releases has nothing but its direction set.
inline bool is_whole_record(const XDR *xdrs)
{
    return xdrs->x_op == XDR_DECODE && xdrs->x_ops == &whole_record_operations;
}

inline void open_whole_record(XDR &xdrs, char *bytes, std::size_t size)
{
    xdrs = {};
    xdrs.x_op = XDR_DECODE;
    xdrs.x_ops = &whole_record_operations;
    xdrs.x_private = xdrs.x_base = bytes;
    xdrs.x_handy = static_cast<u_int>(size);
}

// A record that is being encoded: the next byte goes to x_base, where x_handy bytes have room
// before the operations are needed.
extern const XDR::xdr_ops record_writer_operations;

inline bool is_record_writer(const XDR *xdrs)
{
    return xdrs->x_op == XDR_ENCODE && xdrs->x_ops == &record_writer_operations;
}

// Returns where so many bytes go, which are then written; null when the operations are needed.
inline char *place(XDR *xdrs, std::size_t count)
{
    if (count > xdrs->x_handy)
        return nullptr;
    xdrs->x_handy -= static_cast<u_int>(count);
    return std::exchange(xdrs->x_base, xdrs->x_base + count);
}

inline void put_word(char *to, std::uint32_t word)
{
    word = htonl(word);
    std::memcpy(to, &word, sizeof word);
}

// Encodes the words of a head; false when the stream has no room.
template <std::size_t count>
bool put_words(XDR *xdrs, std::uint32_t (&words)[count])
{
    if (char *to = place(xdrs, sizeof words)) {
        for (std::size_t i = 0; i < count; i++)
            put_word(to + i * sizeof words[i], words[i]);
        return true;
    }
    for (std::uint32_t &word : words)
        if (!xdr_u_int(xdrs, &word))
            return false;
    return true;
}

// Decodes the words of a head, if the record has as many.
template <std::size_t count>
bool take_words(Rest &rest, std::uint32_t (&words)[count])
{
    const char *at = rest.take(sizeof words);
    for (std::size_t i = 0; at && i < count; i++) {
        std::memcpy(&words[i], at + i * sizeof words[i], sizeof words[i]);
        words[i] = ntohl(words[i]);
    }
    return at != nullptr;
}

// Returns whether so many bytes can follow in the stream; true for a stream whose end is not known.
inline bool may_hold(const XDR *xdrs, std::uint64_t bytes)
{
    return !is_whole_record(xdrs) || bytes <= xdrs->x_handy;
}

} // namespace velt
