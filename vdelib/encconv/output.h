// What the encoding converters are made of: the loop over the source, the space that a builder has
// for their output, and the copying of runs of ASCII.

#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <type_traits>

#include "velt/vde/builder.h"
#include "velt/vde/failure.h"
#include "velt/vde/memory.h"

namespace velt
{

// The form of every converter: 0, or nonzero for a failure, with the output so far appended.
using Converter = IntT (*)(VdeClT *cl, const char *src, IntT srcLen);

template <class Builder>
Builder *checked(Builder *cl)
{
    if (!cl || cl->magic != VdeClMagic)
        VdeFail();
    return cl;
}

constexpr int64_t rounded_up(int64_t n, int64_t unit)
{
    return (n + unit - 1) / unit * unit;
}

// Makes the capacity enough for n more bytes, if the builder may grow.
void make_room(VdeClT &cl, IntT n);

// The free space of a builder, written to directly while there is enough of it; else bytes are
// collected in a chunk first.
class Output
{
public:
    explicit Output(VdeClT *builder)
        : cl(*checked(builder)), least_size(cl.size), first_length(cl.len)
    {
    }
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    // Gives back what was taken ahead of need: the capacity is as if each byte had been appended.
    // The block keeps what is only a little too much: were it shrunk, the C library would take a
    // new one from the system for every text, which costs more than the conversion.
    ~Output()
    {
        const int64_t needed = cl.growBy > 0 ? rounded_up(cl.len, cl.growBy) : cl.size;
        const auto size = std::max(static_cast<IntT>(needed), least_size);
        if (size < cl.size - cl.size / little)
            VdeClSetSize(&cl, size);
        else if (size < cl.size)
            cl.size = size;
    }

    static constexpr IntT most_room = 4096;

    // Room for so many bytes, at most most_room.
    UCharT *room(IntT bytes)
    {
        direct = cl.growBy > 0 && cl.size - cl.len >= bytes;
        return direct ? cl.buf + cl.len : chunk.data();
    }

    // The room was written to up to this end, now that so many bytes of the source are done and so
    // many left.
    void wrote(const UCharT *end, int64_t done, int64_t left)
    {
        if (direct) {
            cl.len = static_cast<IntT>(end - cl.buf);
            cl.buf[cl.len] = 0;
            return;
        }
        const auto count = static_cast<IntT>(end - chunk.data());
        if (cl.growBy > 0 && cl.size < int64_t{cl.len} + count)
            grow(count, done, left);
        VdeClAddNChars(&cl, reinterpret_cast<const char *>(chunk.data()), count);
    }

private:
    static constexpr IntT little = 16; // one part in so many

    // Makes the capacity enough for these bytes and for as much as is likely to follow, and a
    // little more, so that the bytes are not moved once for every step of the builder's. Where the
    // estimate falls short again and again, each block is still that part larger than the one
    // before.
    void grow(IntT bytes, int64_t done, int64_t left)
    {
        const int64_t most = int64_t{V_MaxBlockSize} - 1 - cl.growBy - cl.len;
        const int64_t written = int64_t{cl.len} - first_length + bytes;
        const int64_t following = written * left / std::max(done, int64_t{1});
        const int64_t ahead =
            std::max(bytes + following + following / (2 * little), int64_t{cl.len} / little);
        // A first block is zero, which what it grows by need not be.
        if (!cl.buf)
            make_room(cl, 1);
        make_room(cl, std::max(static_cast<IntT>(std::min(ahead, most)), bytes));
    }

    VdeClT &cl;
    IntT least_size;
    IntT first_length;
    bool direct = false;
    std::array<UCharT, most_room> chunk;
};

// Writes these bytes.
void put(UCharT *&out, auto... bytes)
{
    ((*out++ = static_cast<UCharT>(bytes)), ...);
}

// A place in the source.
struct Source {
    const UCharT *at;
    const UCharT *end;  // of the source
    const UCharT *stop; // up to where characters are to be converted now

    int64_t left() const { return end - at; }
};

// Runs `step` over the source. A step converts one character or more, moves the source past them
// and the output past what it wrote, and says whether it could; `finish` writes what the text ends
// with. No character writes more than `expansion` bytes for each byte that it takes, and a few.
template <IntT expansion, class Finish = std::nullptr_t>
IntT convert(VdeClT *cl, const char *src, IntT srcLen, auto step, Finish finish = nullptr)
{
    if (!cl || !src || srcLen < 1)
        return 0;
    constexpr IntT spare = 16;
    constexpr IntT strip = (Output::most_room - spare) / expansion;
    Output output{cl};
    const auto *begin = reinterpret_cast<const UCharT *>(src);
    Source source{begin, begin + srcLen, begin};
    const auto wrote = [&](const UCharT *out) {
        output.wrote(out, source.at - begin, source.left());
    };
    while (source.left() > 0) {
        const auto size = static_cast<IntT>(std::min(source.left(), int64_t{strip}));
        source.stop = source.at + size;
        UCharT *out = output.room(size * expansion + spare);
        do {
            if (!step(source, out)) {
                wrote(out);
                return -1;
            }
        } while (source.at < source.stop);
        wrote(out);
    }
    if constexpr (!std::is_null_pointer_v<Finish>) {
        UCharT *out = output.room(spare);
        finish(out);
        wrote(out);
    }
    return 0;
}

// The ASCII bytes low to high but for two; runs of them are copied in blocks.
class AsciiRun
{
public:
    constexpr AsciiRun(UCharT low, UCharT high, UCharT but = none, UCharT nor = none)
        : lowest(low), highest(high), other(but), another(nor)
    {
    }

    // Copies the bytes from the source on that belong, as far as the source is to be converted; up
    // to fifteen bytes of the room behind them are overwritten.
    void copy(Source &source, UCharT *&out) const
    {
        const UCharT *at = source.at;
        UCharT *to = out;
        int copied = block_size;
        while (copied == block_size && source.stop - at >= block_size) {
            Block block;
            std::memcpy(&block, at, sizeof block);
            std::memcpy(to, &block, sizeof block);
            copied = belonging(block);
            at += copied;
            to += copied;
        }
        if (copied == block_size) {
            while (at < source.stop && has(*at))
                *to++ = *at++;
        }
        source.at = at;
        out = to;
    }

    // Whether the byte belongs.
    constexpr bool has(UCharT byte) const
    {
        return byte >= lowest && byte <= highest && byte != other && byte != another;
    }

private:
    // The compiler makes what the processor has of such vectors. A byte that does not belong has
    // all bits set in the result of a comparison.
    static constexpr int block_size = 16;
    using Block = signed char __attribute__((vector_size(block_size)));
    using Halves = uint64_t __attribute__((vector_size(block_size)));

    static constexpr UCharT none = 0x80;

    // The number of bytes before the first that does not belong. As signed numbers, bytes from 0x80
    // on are below all others.
    int belonging(Block block) const
    {
        const auto signed_of = [](UCharT byte) { return static_cast<signed char>(byte); };
        const auto strange =
            reinterpret_cast<Halves>((block < signed_of(lowest)) | (block > signed_of(highest)) |
                                     (block == signed_of(other)) | (block == signed_of(another)));
        return strange[0] != 0 ? leading(strange[0]) : 8 + leading(strange[1]);
    }

    static int leading(uint64_t strange)
    {
        const int zeros = std::endian::native == std::endian::little ? std::countr_zero(strange)
                                                                     : std::countl_zero(strange);
        return zeros / 8;
    }

    UCharT lowest, highest, other, another;
};

// The printable ASCII that stands for itself: from the space on, but for two characters, up to the
// third that does not.
template <class Code>
constexpr AsciiRun identical_ascii(const Code *codes)
{
    UCharT others[] = {0x7F, 0x7F, 0x7F};
    size_t found = 0;
    for (UCharT byte = 0x20; byte < 0x7F && found < std::size(others); ++byte) {
        if (codes[byte] != byte)
            others[found++] = byte;
    }
    return {0x20, static_cast<UCharT>(others[2] - 1), others[0], others[1]};
}

} // namespace velt
