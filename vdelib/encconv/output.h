// The parts of an encoding converter: the loop over the source, the output into a builder's free
// space, and the copying of runs of ASCII.

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

// The signature of every converter. It returns 0, or nonzero on failure, with the output so far
// appended.
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

// Grows the capacity to hold n more bytes, if the builder may grow.
void make_room(VdeClT &cl, IntT n);

// Writes to the free space of a builder directly while there is enough of it, else through a chunk.
class Output
{
public:
    explicit Output(VdeClT *builder)
        : cl(*checked(builder)), least_size(cl.size), first_length(cl.len)
    {
    }
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    // Gives back memory that was reserved in advance: the capacity is as if each byte had been
    // appended. A block that is only a little too large is not shrunk, or the C library would get a
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

    // Returns a place for so many bytes, at most most_room.
    UCharT *room(IntT bytes)
    {
        direct = cl.growBy > 0 && cl.size - cl.len >= bytes;
        return direct ? cl.buf + cl.len : chunk.data();
    }

    // Ends writing at `end`. The bytes of the source that are done and left serve to estimate the
    // rest.
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
    static constexpr IntT little = 16; // one part in this number counts as a little

    // Grows the capacity to these bytes, the output that is likely to follow and a little more, so
    // that the bytes are not moved with every growth step of the builder. Even if the estimate
    // falls short repeatedly, each block is larger than the one before by a constant factor.
    void grow(IntT bytes, int64_t done, int64_t left)
    {
        const int64_t most = int64_t{V_MaxBlockSize} - 1 - cl.growBy - cl.len;
        const int64_t written = int64_t{cl.len} - first_length + bytes;
        const int64_t following = written * left / std::max(done, int64_t{1});
        const int64_t ahead =
            std::max(bytes + following + following / (2 * little), int64_t{cl.len} / little);
        // The first block is allocated zeroed; later growth is not.
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

// Writes the given bytes.
void put(UCharT *&out, auto... bytes)
{
    ((*out++ = static_cast<UCharT>(bytes)), ...);
}

// A position in the source.
struct Source {
    const UCharT *at;
    const UCharT *end;  // of the source
    const UCharT *stop; // the end of the part to be converted now

    int64_t left() const { return end - at; }
};

// Runs `step` over the source. A step converts one character or more, moves the source past them
// and the output past what it wrote, and says whether it could; `finish` writes what the text ends
// with. A character writes at most `expansion` bytes for each of its own, and a constant few more.
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

// The ASCII bytes low to high except two. Runs of these bytes are copied in blocks.
class AsciiRun
{
public:
    constexpr AsciiRun(UCharT low, UCharT high, UCharT but = none, UCharT nor = none)
        : lowest(low), highest(high), other(but), another(nor)
    {
    }

    // Copies the bytes of the class at the start of the source, up to its stop; up to fifteen bytes
    // of the output behind them are overwritten.
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

    // Returns whether the byte is in the class.
    constexpr bool has(UCharT byte) const
    {
        return byte >= lowest && byte <= highest && byte != other && byte != another;
    }

private:
    // The compiler maps these vectors to the processor's instructions. A comparison sets all bits
    // of the bytes that are not in the class.
    static constexpr int block_size = 16;
    using Block = signed char __attribute__((vector_size(block_size)));
    using Halves = uint64_t __attribute__((vector_size(block_size)));

    static constexpr UCharT none = 0x80;

    // The number of bytes before the first that is not in the class. As signed numbers, bytes from
    // 0x80 on are below all others.
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

// The printable ASCII that a converter leaves unchanged: from the space on, except for two
// characters, up to a third.
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
