// A text in another encoding, as the C library has it and as the library does.
#pragma once

#include <iconv.h>

#include "velt/vde/encodings.h"
#include "velt/vde/memory.h"

// What the C library makes of the text; none when it cannot convert all of it.
inline std::optional<std::string> iconved(const char *from, const char *to, std::string text)
{
    const iconv_t cd = iconv_open(to, from);
    EXPECT_NE(cd, iconv_t(-1)) << from << ' ' << to;
    std::string result(text.size() * 8 + 16, '\0');
    char *in = text.data();
    char *out = result.data();
    size_t in_left = text.size();
    size_t out_left = result.size();
    const bool done = iconv(cd, &in, &in_left, &out, &out_left) == 0 &&
                      iconv(cd, nullptr, nullptr, &out, &out_left) == 0;
    iconv_close(cd);
    if (!done)
        return std::nullopt;
    result.resize(result.size() - out_left);
    return result;
}

inline std::optional<std::string> to(const std::string &text, UIntT from, UIntT enc)
{
    const StringT result = V_StrConvertEnc(text.c_str(), from, enc);
    if (result == nullptr)
        return std::nullopt;
    const std::string copy = result;
    V_Free(result);
    return copy;
}
