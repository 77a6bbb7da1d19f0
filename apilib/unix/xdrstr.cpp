// The XDR encoding of strings.

#include "apilib/wire/coding.h"

namespace
{

constexpr std::size_t unit = 4;

// The place of a string's bytes, padded to whole words, in the stream's buffer; null when the
// buffer does not hold them in one piece, and for long strings.
int32_t *in_buffer(XDR *xdrs, std::size_t header, std::size_t length)
{
    std::size_t whole = header + (length + unit - 1) / unit * unit;
    return length <= velt::trusted_bytes ? XDR_INLINE(xdrs, static_cast<u_int>(whole)) : nullptr;
}

bool encode_string(XDR *xdrs, const char *text)
{
    std::size_t length = std::strlen(text);
    if (length > UINT32_MAX)
        return false;
    auto size = static_cast<UIntT>(length);
    if (auto *words = in_buffer(xdrs, unit, length)) {
        words[0] = static_cast<int32_t>(htonl(size));
        if (length % unit)
            words[1 + length / unit] = 0;
        std::memcpy(words + 1, text, length);
        return true;
    }
    return velt::code(xdrs, size) && xdr_opaque(xdrs, const_cast<char *>(text), size);
}

bool decode_string(XDR *xdrs, StringT &value)
{
    UIntT size;
    if (!velt::code(xdrs, size) || !velt::may_hold(xdrs, size))
        return false;
    // The bytes go into the string that the caller gave, or else into a new one that grows as they
    // are decoded.
    if (value) {
        value[size] = '\0';
        return xdr_opaque(xdrs, value, size);
    }
    if (const auto *words = in_buffer(xdrs, 0, size)) {
        auto *whole = static_cast<StringT>(VapiMalloc(size + std::size_t{1}));
        if (!whole)
            return false;
        std::memcpy(whole, words, size);
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
