// What the encoding converters are made of: the loop over the source, the space that a builder has
// for their output, and the copying of runs of ASCII.

#pragma once

#include "velt/vde/builder.h"
#include "velt/vde/failure.h"
#include "velt/vde/memory.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace velt
{

// The form of every converter: 0, or nonzero for a failure, with the output so far appended.
using Converter = IntT (*)(VdeClT *cl, const char *src, IntT srcLen);

template <class Builder>
Builder *checked(Builder *cl)
{
    if (cl == nullptr || cl->magic != VdeClMagic)
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
    // `expected` bytes are likely to be written.
    Output(VdeClT *builder, int64_t expected)
        : cl(*checked(builder)), least_size(cl.size), likely(expected)
    {
    }
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    // Gives back what was taken ahead of need: the capacity is as if each byte had been appended.
    ~Output()
    {
        const int64_t size = cl.growBy > 0 ? rounded_up(cl.len, cl.growBy) : cl.size;
        if (size < cl.size && least_size < cl.size)
            VdeClSetSize(&cl, std::max(static_cast<IntT>(size), least_size));
    }

    static constexpr IntT most_room = 4096;

    // Room for so many bytes, at most most_room.
    UCharT *room(IntT bytes)
    {
        direct = cl.growBy > 0 && cl.size - cl.len >= bytes;
        return direct ? cl.buf + cl.len : chunk.data();
    }

    // The room was written to up to this end.
    void wrote(const UCharT *end)
    {
        if (direct) {
            cl.len = static_cast<IntT>(end - cl.buf);
            cl.buf[cl.len] = 0;
            return;
        }
        const auto count = static_cast<IntT>(end - chunk.data());
        if (cl.size < int64_t{cl.len} + count)
            grow(count);
        VdeClAddNChars(&cl, reinterpret_cast<const char *>(chunk.data()), count);
    }

private:
    // Doubles the capacity, as far as a block may get, so that the bytes are not moved once for
    // every step of the builder's.
    void grow(IntT bytes)
    {
        const int64_t most = int64_t{V_MaxBlockSize} - 1 - cl.growBy - cl.len;
        const int64_t ahead = std::min(std::max(int64_t{cl.len}, likely), most);
        make_room(cl, std::max(static_cast<IntT>(ahead), bytes));
    }

    VdeClT &cl;
    IntT least_size;
    int64_t likely;
    bool direct = false;
    std::array<UCharT, most_room> chunk;
};

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
    if (cl == nullptr || src == nullptr || srcLen < 1)
        return 0;
    constexpr IntT spare = 16;
    constexpr IntT strip = (Output::most_room - spare) / expansion;
    Output output{cl, srcLen};
    const auto *begin = reinterpret_cast<const UCharT *>(src);
    Source source{begin, begin + srcLen, begin};
    while (source.left() > 0) {
        const auto size = static_cast<IntT>(std::min(source.left(), int64_t{strip}));
        source.stop = source.at + size;
        UCharT *out = output.room(size * expansion + spare);
        do {
            if (!step(source, out)) {
                output.wrote(out);
                return -1;
            }
        } while (source.at < source.stop);
        output.wrote(out);
    }
    if constexpr (!std::is_null_pointer_v<Finish>) {
        UCharT *out = output.room(spare);
        finish(out);
        output.wrote(out);
    }
    return 0;
}

// The ASCII bytes low to high but for one; runs of them are copied a word at a time.
class AsciiRun
{
public:
    constexpr AsciiRun(UCharT low, UCharT high, UCharT but = 0x80)
        : below(low * ones), above((0x7Fu - high) * ones), other(but * ones)
    {
    }

    // Copies the bytes from the source on that belong, as far as the source is to be converted;
    // up to seven bytes of the room behind them are overwritten.
    void copy(Source &source, UCharT *&out) const
    {
        while (source.stop - source.at >= word_size) {
            uint64_t word;
            std::memcpy(&word, source.at, sizeof word);
            std::memcpy(out, &word, sizeof word);
            if constexpr (std::endian::native == std::endian::big)
                word = __builtin_bswap64(word);
            const uint64_t strange = strangers(word);
            const int copied = strange != 0 ? std::countr_zero(strange) / 8 : word_size;
            source.at += copied;
            out += copied;
            if (strange != 0)
                return;
        }
        while (source.at < source.stop && has(*source.at))
            *out++ = *source.at++;
    }

    // Whether the byte belongs.
    constexpr bool has(UCharT byte) const { return byte < 0x80 && (strangers(byte) & 0x80) == 0; }

private:
    static constexpr int word_size = 8;
    static constexpr uint64_t ones = 0x0101010101010101;

    // The lowest bit set is the top bit of the first byte, from the lowest on, that does not
    // belong; what is carried on from it makes the bits of those behind worthless.
    constexpr uint64_t strangers(uint64_t word) const
    {
        const uint64_t differs = word ^ other;
        return (word | (word - below) | (word + above) | ((differs - ones) & ~differs)) &
               0x80 * ones;
    }

    uint64_t below, above, other;
};

} // namespace velt
