#include <algorithm>
#include <cstring>

#include "vdelib/encconv/output.h"
#include "velt/vde/builder.h"
#include "velt/vde/failure.h"
#include "velt/vde/memory.h"

using velt::checked;

namespace
{

UCharT *new_buffer(IntT size)
{
    return static_cast<UCharT *>(V_Calloc(static_cast<UIntT>(size) + 1, 1, V_AllocFatal));
}

// Appends as many of n bytes as fit; calls `write` with the place and the number of bytes.
IntT append(VdeClT *cl, IntT n, auto write)
{
    velt::make_room(*checked(cl), n);
    const IntT count = std::min(n, cl->size - cl->len);
    if (count >= 1) {
        write(cl->buf + cl->len, static_cast<size_t>(count));
        cl->len += count;
        cl->buf[cl->len] = 0;
    }
    return cl->len - 1;
}

} // namespace

void velt::make_room(VdeClT &cl, IntT n)
{
    if (cl.growBy < 1 || n < 1 || cl.size >= int64_t{cl.len} + n)
        return;
    const int64_t wanted = rounded_up(int64_t{cl.len} + n, cl.growBy);
    if (wanted >= V_MaxBlockSize)
        VdeFail();
    VdeClSetSize(&cl, static_cast<IntT>(wanted));
}

void VdeClInit(VdeClT *cl, IntT growBy)
{
    if (!cl || growBy < 1)
        VdeFail();
    *cl = {.magic = VdeClMagic, .size = 0, .len = 0, .growBy = growBy, .flags = 0, .buf = nullptr};
}

void VdeClInitWithBuffer(VdeClT *cl, UCharT *buf, IntT bufSize, IntT growBy)
{
    if (!cl || !buf || bufSize < 1)
        VdeFail();
    const UIntT fixed = growBy < 1 ? VdeClFixed : 0;
    *cl = {.magic = VdeClMagic,
           .size = bufSize - 1,
           .len = 0,
           .growBy = std::max(growBy, 0),
           .flags = VdeClCallersBuffer | fixed,
           .buf = buf};
}

void VdeClSetSize(VdeClT *cl, IntT newSize)
{
    checked(cl);
    if (newSize < 0)
        VdeFail();
    if ((cl->flags & VdeClFixed) != 0) {
        cl->flags |= VdeClOverflow;
        return;
    }
    if ((cl->flags & VdeClCallersBuffer) != 0) {
        if (newSize < cl->size)
            return;
        UCharT *own = new_buffer(newSize);
        if (cl->buf)
            std::memcpy(own, cl->buf, static_cast<size_t>(cl->size) + 1);
        cl->flags &= ~UIntT{VdeClCallersBuffer};
        cl->buf = own;
    } else if (newSize == 0) {
        V_Free(cl->buf);
        cl->buf = nullptr;
    } else if (cl->buf) {
        cl->buf = static_cast<UCharT *>(
            V_Realloc(cl->buf, static_cast<UIntT>(newSize) + 1, V_AllocFatal));
    } else {
        cl->buf = new_buffer(newSize);
    }
    cl->size = newSize;
}

IntT VdeClOverflowed(const VdeClT *cl)
{
    return (checked(cl)->flags & VdeClOverflow) != 0;
}

IntT VdeClAdd1CharNTimes(VdeClT *cl, UCharT ch, IntT n)
{
    return append(cl, n, [ch](UCharT *at, size_t count) { std::memset(at, ch, count); });
}

IntT VdeClAddString(VdeClT *cl, const char *s)
{
    const size_t length = s ? std::strlen(s) : 0;
    if (length >= V_MaxBlockSize)
        VdeFail();
    return VdeClAddNChars(cl, s, static_cast<IntT>(length));
}

IntT VdeClAddNChars(VdeClT *cl, const char *chars, IntT n)
{
    return append(cl, chars ? n : 0,
                  [chars](UCharT *at, size_t count) { std::memcpy(at, chars, count); });
}

void VdeClTrim(VdeClT *cl)
{
    if (!cl)
        VdeFail();
    VdeClSetSize(cl, cl->len);
}

void VdeClSetLen(VdeClT *cl, IntT newLen)
{
    checked(cl);
    // A builder whose buffer was made smaller than its contents may have no byte of that index.
    if (newLen < 0 || newLen >= cl->len || newLen > cl->size || !cl->buf)
        return;
    cl->len = newLen;
    cl->buf[newLen] = 0;
}
