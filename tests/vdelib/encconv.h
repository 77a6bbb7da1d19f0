#pragma once

#include "support/convert.h"
#include "support/vde.h"

using Converter = IntT (*)(VdeClT *cl, const char *src, IntT srcLen);

// What a converter makes of the text, which lies in a block of just its size; none when it fails.
inline std::optional<std::string> converted(const std::function<IntT(VdeClT *, char *, IntT)> &run,
                                            const std::string &text)
{
    VdeClT cl;
    VdeClInit(&cl, 256);
    const Owned<> block{static_cast<char *>(V_DuplicatePtr(text.data(), UIntT(text.size()), 0))};
    const IntT result = run(&cl, block.get(), static_cast<IntT>(text.size()));
    const Owned<UCharT> buffer{cl.buf};
    EXPECT_EQ(cl.size, (cl.len + 255) / 256 * 256);
    EXPECT_TRUE(cl.buf == nullptr || cl.buf[cl.len] == 0);
    if (result != 0)
        return std::nullopt;
    return std::string(cl.buf, cl.buf + cl.len);
}

inline std::string bytes(std::initializer_list<int> codes)
{
    return {codes.begin(), codes.end()};
}

inline void for_each_pair(const std::function<void(const std::string &)> &visit)
{
    for (int code = 0; code < 0x10000; ++code)
        visit(bytes({code >> 8, code & 0xFF}));
}
