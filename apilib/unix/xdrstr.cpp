// The XDR encoding of strings.

#include "apilib/wire/coding.h"

namespace
{

constexpr std::size_t unit = 4;

// The place of so many bytes in the stream's buffer; null when the buffer does not hold them in one
// piece, and for long strings.
char *in_buffer(XDR *xdrs, std::size_t size)
{
    return size <= velt::trusted_bytes
               ? reinterpret_cast<char *>(XDR_INLINE(xdrs, static_cast<u_int>(size)))
               : nullptr;
}

bool encode_string(XDR *xdrs, const char *text)
{
    std::size_t length = std::strlen(text);
    if (length > UINT32_MAX)
        return false;
    auto size = static_cast<UIntT>(length);
    if (char *to = in_buffer(xdrs, unit + velt::padded(length))) {
        const UIntT word = htonl(size);
        std::memcpy(to, &word, unit);
        std::memcpy(to + unit, text, length);
        std::memset(to + unit + length, 0, velt::padded(length) - length);
        return true;
    }
    return velt::code(xdrs, size) && xdr_opaque(xdrs, const_cast<char *>(text), size);
}

bool decode_string(XDR *xdrs, StringT &value)
{
    if (!value && velt::is_whole_record(xdrs)) {
        velt::Rest rest(xdrs);
        const bool decoded = velt::decode_new(rest, value);
        rest.put_back(xdrs);
        return decoded;
    }
    UIntT size = 0;
    if (!velt::code(xdrs, size) || !velt::may_hold(xdrs, size))
        return false;
    // The bytes go into the string that the caller gave, or else into a new one that grows as they
    // are decoded.
    if (value) {
        value[size] = '\0';
        return xdr_opaque(xdrs, value, size);
    }
    if (const char *bytes = in_buffer(xdrs, velt::padded(size))) {
        auto *whole = static_cast<StringT>(VapiMalloc(size + std::size_t{1}));
        if (!whole)
            return false;
        std::memcpy(whole, bytes, size);
        whole[size] = '\0';
        value = whole;
        return true;
    }
    std::size_t done = 0;
    std::size_t step = std::min<std::size_t>(size, velt::trusted_bytes);
    do {
        auto *grown = static_cast<StringT>(VapiRealloc(value, done + step + 1));
        if (!grown)
            return false;
        value = grown;
        value[done] = '\0';
        // Every block but the last is whole words, so the padding follows the last one only.
        if (!xdr_opaque(xdrs, value + done, static_cast<u_int>(step)))
            return false;
        done += step;
        step = std::min<std::size_t>(size - done, done);
    } while (step);
    value[done] = '\0';
    return true;
}

} // namespace

bool velt::code(XDR *xdrs, StringT &value)
{
    switch (xdrs->x_op) {
    case XDR_ENCODE:
        return encode_string(xdrs, value ? value : "");
    case XDR_DECODE:
        return decode_string(xdrs, value);
    case XDR_FREE:
        V_ApiFree(value);
        value = nullptr;
        return true;
    }
    return false;
}

bool_t xdr_StringT(XDR *xdrs, StringT *value)
{
    return velt::code(xdrs, *value);
}
