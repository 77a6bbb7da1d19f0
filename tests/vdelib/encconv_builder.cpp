#include "vdelib/encconv.h"

namespace
{

std::string contents(const VdeClT &cl)
{
    return cl.buf == nullptr ? "" : std::string(cl.buf, cl.buf + cl.len);
}

TEST(Builder, GrowsInSteps)
{
    VdeClT cl;
    VdeClInit(&cl, 256);
    EXPECT_EQ(VdeClAddNChars(&cl, nullptr, 5), -1);
    EXPECT_EQ(VdeClAddString(&cl, ""), -1);
    EXPECT_EQ(cl.buf, nullptr);
    EXPECT_EQ(VdeClAdd1CharNTimes(&cl, 'x', 300), 299);
    EXPECT_EQ(cl.size, 512);
    EXPECT_EQ(VdeClAddString(&cl, "end"), 302);
    VdeClTrim(&cl);
    EXPECT_EQ(cl.size, 303);
    EXPECT_EQ(contents(cl), std::string(300, 'x') + "end");
    EXPECT_EQ(cl.buf[303], 0);

    for (const IntT length : {-1, 303, 1000})
        VdeClSetLen(&cl, length);
    EXPECT_EQ(cl.len, 303);
    VdeClSetLen(&cl, 2);
    EXPECT_STREQ(reinterpret_cast<char *>(cl.buf), "xx");
    EXPECT_EQ(VdeClAddNChars(&cl, "yz", 2), 3);
    EXPECT_EQ(contents(cl), "xxyz");

    VdeClSetSize(&cl, 0);
    EXPECT_EQ(cl.buf, nullptr);
    VdeClSetLen(&cl, 1); // of which there is no byte
    EXPECT_EQ(cl.len, 4);
    VdeClInit(&cl, 7);
    VdeClAddNChars(&cl, "12345678", 8);
    EXPECT_EQ(cl.size, 14);
    VdeClSetSize(&cl, 0);
}

TEST(Builder, WritesIntoTheCallersBuffer)
{
    UCharT buffer[8];
    VdeClT cl;
    VdeClInitWithBuffer(&cl, buffer, sizeof buffer, 16);
    VdeClAddString(&cl, "1234567");
    EXPECT_EQ(cl.buf, buffer);
    VdeClSetSize(&cl, 3); // never smaller
    EXPECT_EQ(cl.size, 7);
    VdeClAddString(&cl, "89");
    EXPECT_NE(cl.buf, buffer);
    EXPECT_EQ(contents(cl), "123456789");
    EXPECT_EQ(cl.size, 16);
    EXPECT_EQ(cl.flags, 0u);
    VdeClSetSize(&cl, 0);
    // A fixed one takes what fits.
    VdeClInitWithBuffer(&cl, buffer, sizeof buffer, 0);
    VdeClAddString(&cl, "123456");
    VdeClAddString(&cl, "789");
    VdeClAdd1CharNTimes(&cl, 'x', 3);
    EXPECT_EQ(contents(cl), "1234567");
    EXPECT_EQ(VdeClOverflowed(&cl), 0);
    VdeClSetSize(&cl, 100);
    EXPECT_EQ(VdeClOverflowed(&cl), 1);
    EXPECT_EQ(cl.size, 7);
    EXPECT_EQ(cl.buf, buffer);
}

TEST(Builder, EveryLengthOfFixedBufferGetsTheBeginning)
{
    std::string text;
    while (text.size() < 9000)
        text += "ab\x88\x9F\xB6\xDE\r\n~";
    const std::string whole = converted(VdeShiftJisToJis, text).value();
    for (IntT size = 1; size < 20000; size += size < 40 ? 1 : 997) {
        const Owned<UCharT> buffer{static_cast<UCharT *>(V_Alloc(UIntT(size), 0))};
        VdeClT cl;
        VdeClInitWithBuffer(&cl, buffer.get(), size, 0);
        EXPECT_EQ(VdeShiftJisToJis(&cl, text.data(), IntT(text.size())), 0);
        EXPECT_EQ(contents(cl), whole.substr(0, size_t(size) - 1)) << size;
        EXPECT_EQ(cl.buf, buffer.get());
    }
}

TEST(BuilderDeathTest, MisuseEndsTheProcess)
{
    VdeClT cl{};
    UCharT byte = 0;
    EXPECT_ABORT(VdeClInit(&cl, 0), "");
    EXPECT_ABORT(VdeClInitWithBuffer(&cl, nullptr, 1, 1), "");
    EXPECT_ABORT(VdeClInitWithBuffer(&cl, &byte, 0, 1), "");
    EXPECT_ABORT(VdeClAddString(&cl, "x"), "");
    EXPECT_ABORT(VdeClSetSize(nullptr, 1), "");
    EXPECT_ABORT(VdeClTrim(nullptr), "");
    VdeClInit(&cl, 256);
    EXPECT_ABORT(VdeClSetSize(&cl, -1), "");
    EXPECT_ABORT(VdeClAdd1CharNTimes(&cl, 'x', V_MaxBlockSize), "");
}

} // namespace
