// Values of every type of the tables: varied ones, their bytes on the wire, and what they hold; and
// what calls return.
#pragma once

#include <concepts>
#include <cstdint>
#include <ostream>

#include "apilib/wire/coding.h"
#include "apilib/wire/memory.h"
#include "apilib/wire/routines.h"

using Bytes = std::string;

// Bytes from hexadecimal digits; blanks do not count.
inline Bytes hex(std::string digits)
{
    std::erase(digits, ' ');
    Bytes bytes;
    for (std::size_t at = 0; at < digits.size(); at += 2)
        bytes += static_cast<char>(std::stoul(digits.substr(at, 2), nullptr, 16));
    return bytes;
}

inline std::string text(const Bytes &bytes)
{
    std::string out;
    for (std::size_t i = 0; i < bytes.size(); i++) {
        out += i && i % 4 == 0 ? " " : "";
        out += "0123456789abcdef"[bytes[i] >> 4 & 15];
        out += "0123456789abcdef"[bytes[i] & 15];
    }
    return out;
}

template <class T>
Bytes encode(const T &value, std::size_t room = 1 << 16)
{
    Bytes bytes(room, '\0');
    XDR xdrs;
    xdrmem_create(&xdrs, bytes.data(), static_cast<u_int>(room), XDR_ENCODE);
    EXPECT_TRUE(velt::code(&xdrs, const_cast<T &>(value)));
    bytes.resize(xdr_getpos(&xdrs));
    return bytes;
}

// What bytes are decoded from: a memory stream of the RPC library, or a whole record, which may
// stand at an odd address.
enum class From { memory, record, odd_record };

// Decodes into `value`; how many bytes that took, or -1.
template <class T>
long decode(const Bytes &bytes, T &value, From from = From::record)
{
    // A copy of exactly this size, so that a read beyond its end is seen.
    const std::size_t begin = from == From::odd_record ? 1 : 0;
    std::vector<char> exact(begin + bytes.size());
    std::copy(bytes.begin(), bytes.end(), exact.begin() + static_cast<std::ptrdiff_t>(begin));
    XDR xdrs;
    if (from == From::memory)
        xdrmem_create(&xdrs, exact.data(), static_cast<u_int>(bytes.size()), XDR_DECODE);
    else
        velt::open_whole_record(xdrs, exact.data() + begin, bytes.size());
    return velt::code(&xdrs, value) ? static_cast<long>(xdr_getpos(&xdrs)) : -1;
}

// Fills a value: strings and lists of different lengths, every value kind, properties by number
// and by name, optional parts present and absent, as the seed goes on.
struct Filling {
    unsigned seed;

    bool operator()(const char *name, IntT &value)
    {
        const std::string field = name;
        const unsigned n = seed++;
        value = static_cast<IntT>(field == "valType"    ? n % 22
                                  : field == "dataType" ? n % 3
                                  : field == "num"      ? n % 2 * n
                                                        : n * 2654435761U);
        return true;
    }
    template <std::unsigned_integral T>
    bool operator()(const char *, T &value)
    {
        value = static_cast<T>(seed++ * 2246822519U);
        return true;
    }
    bool operator()(const char *, StringT &value)
    {
        value = V_ApiCopyString(std::string(seed % 7, static_cast<char>('!' + seed * 11)).c_str());
        seed++;
        return true;
    }
    template <class T>
    bool operator()(const char *, T &value)
    {
        if constexpr (std::is_pointer_v<T>) {
            value = seed++ % 3 ? static_cast<T>(VapiCalloc(1, sizeof *value)) : nullptr;
            if (value)
                (*this)("", *value);
        } else if constexpr (velt::List<T>) {
            value.len = seed++ % 4;
            value.val = value.len ? static_cast<velt::Element<T> *>(
                                        VapiCalloc(value.len, sizeof(velt::Element<T>)))
                                  : nullptr;
            for (UIntT i = 0; i < value.len; i++)
                (*this)("", value.val[i]);
        } else {
            velt::fields(value, *this);
        }
        return true;
    }
};

template <class T>
T sample(unsigned seed)
{
    T value{};
    Filling{seed}("", value);
    return value;
}

// What a value holds, as text; a null string counts as empty, as it does on the wire.
struct Telling {
    std::string out;

    template <class T>
    bool operator()(const char *name, T &value)
    {
        out += *name ? std::string(name) + "=" : "";
        if constexpr (std::is_same_v<T, StringT>) {
            out += "\"" + std::string(value ? value : "") + "\"";
        } else if constexpr (std::is_pointer_v<T>) {
            out += value ? "&" : "null";
            if (value)
                (*this)("", *value);
        } else if constexpr (velt::List<T>) {
            out += "[";
            for (UIntT i = 0; i < value.len; i++)
                (*this)("", value.val[i]);
            out += "]";
        } else if constexpr (velt::Struct<T>) {
            out += "{";
            velt::fields(value, *this);
            out += "}";
        } else {
            out += std::to_string(value);
        }
        out += " ";
        return true;
    }
};

template <class T>
std::string tell(T value)
{
    Telling telling;
    telling("", value);
    return telling.out;
}

inline StringT str(const char *s)
{
    return const_cast<StringT>(s);
}

// A result as text, released.
template <class T>
std::string told(T value)
{
    std::string out;
    if constexpr (std::is_same_v<T, std::string>)
        return value;
    else if constexpr (std::is_same_v<T, StringT>)
        out = value ? value : "null";
    else
        out = tell(value);
    velt::release(value);
    return out;
}

// What the call returns, as text.
std::string outcome(auto call)
{
    if constexpr (std::is_void_v<decltype(call())>)
        return call(), "";
    else
        return told(call());
}
