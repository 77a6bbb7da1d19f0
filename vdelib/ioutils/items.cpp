// Items of a channel, in either byte order.

#include <algorithm>
#include <bit>
#include <cstring>

#include "velt/vde/channel.h"
#include "velt/vde/failure.h"

namespace
{

constexpr IntT chunk_size = 1024; // bytes that are reversed and written at a time

V_ChannelT *needed(V_ChannelT *ch)
{
    if (!ch)
        VdeFail();
    return ch;
}

void reverse_items(UCharT *bytes, IntT size, IntT count)
{
    for (; count > 0; --count, bytes += size)
        std::reverse(bytes, bytes + size);
}

IntT read_items(void *ptr, IntT size, IntT count, V_ChannelT *ch)
{
    const bool swap = needed(ch)->swapBytes != 0;
    const IntT got = V_ChannelRead(ptr, size, count, ch);
    if (swap)
        reverse_items(static_cast<UCharT *>(ptr), size, got);
    return got;
}

IntT write_items(const void *ptr, IntT size, IntT count, V_ChannelT *ch)
{
    if (needed(ch)->swapBytes == 0)
        return V_ChannelWrite(ptr, size, count, ch);
    const auto *bytes = static_cast<const UCharT *>(ptr);
    IntT written = 0;
    while (written < count) {
        UCharT chunk[chunk_size];
        const IntT items = std::min(count - written, chunk_size / size);
        const auto length = static_cast<size_t>(items) * static_cast<size_t>(size);
        std::memcpy(chunk, bytes, length);
        reverse_items(chunk, size, items);
        const IntT now = V_ChannelWrite(chunk, size, items, ch);
        written += now;
        if (now < items) // after a short write the next items would be misplaced
            break;
        bytes += length;
    }
    return written;
}

void expect_order(V_ChannelT *ch, std::endian order)
{
    needed(ch)->swapBytes = order != std::endian::native;
}

} // namespace

void V_SetByteOrder(V_ChannelT *ch)
{
    expect_order(ch, std::endian::little);
}

void V_ResetByteOrder(V_ChannelT *ch)
{
    expect_order(ch, std::endian::big);
}

IntT V_ReadShorts(void *ptr, IntT count, V_ChannelT *ch)
{
    return read_items(ptr, 2, count, ch);
}

IntT V_ReadLongs(void *ptr, IntT count, V_ChannelT *ch)
{
    return read_items(ptr, 4, count, ch);
}

IntT V_WriteShorts(const void *ptr, IntT count, V_ChannelT *ch)
{
    return write_items(ptr, 2, count, ch);
}

IntT V_WriteLongs(const void *ptr, IntT count, V_ChannelT *ch)
{
    return write_items(ptr, 4, count, ch);
}

IntT V_ReadBytes(void *ptr, IntT count, V_ChannelT *ch)
{
    return V_ChannelRead(ptr, 1, count, ch);
}

IntT V_WriteBytes(const void *ptr, IntT count, V_ChannelT *ch)
{
    return V_ChannelWrite(ptr, 1, count, ch);
}
