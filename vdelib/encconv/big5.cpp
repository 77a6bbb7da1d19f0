// Conversions between Big5 and the EUC form of CNS 11643.

#include <cstring>
#include <span>

#include "vdelib/encconv/output.h"
#include "velt/vde/chinese.h"

namespace
{

using namespace velt;

// The ordinal of a character in its set. Hanzi count from 0, those of the second level from
// second_level; symbols count from SymOffset.
using Sequence = IntT;
constexpr Sequence BadSeq = -1;
constexpr Sequence SymOffset = -10000;
constexpr Sequence symbols_end = 3135;
constexpr Sequence second_level = 5401;
constexpr Sequence hanzi_end = 13054;
constexpr Sequence space = 0; // the symbol that replaces invalid characters

constexpr bool is_symbol(Sequence sequence)
{
    return sequence >= SymOffset && sequence < SymOffset + symbols_end;
}

constexpr bool within(IntT n, IntT first, IntT last)
{
    return n >= first && n <= last;
}

struct Delta {
    Sequence start, delta;
};

constexpr Delta SeqCNStoIBM[] = {
#define CNS_TO_BIG5(start, delta) {start, delta},
#include "vdelib/encconv/hanzi.def"
};

constexpr Delta SeqIBMtoCNS[] = {
#define BIG5_TO_CNS(start, delta) {start, delta},
#include "vdelib/encconv/hanzi.def"
};

using Hanzi = std::array<Sequence, hanzi_end>;

consteval Hanzi hanzi_in_other_set(std::span<const Delta> deltas)
{
    // VdeFail cannot be called at compile time, so a table without a beginning or out of order does
    // not compile.
    if (deltas.front().start != 1 || !std::ranges::is_sorted(deltas, {}, &Delta::start))
        VdeFail();
    Hanzi other{};
    for (size_t i = 0; i < deltas.size(); ++i) {
        const Sequence end = i + 1 < deltas.size() ? deltas[i + 1].start - 1 : hanzi_end;
        for (Sequence s = deltas[i].start - 1; s < end; ++s)
            other.at(static_cast<size_t>(s)) = s + deltas[i].delta;
    }
    return other;
}

constexpr Sequence CNSSym2IBMSym(Sequence n)
{
    if (n == 148 || n == 149)
        return 148 + 149 - n;
    if (within(n, 0, 233))
        return n;
    return within(n, 282, 455) ? n - 48 : space;
}

constexpr Sequence IBMSym2CNSSym(Sequence b)
{
    if (within(b, 0, 233))
        return CNSSym2IBMSym(b);
    const Sequence n = within(b, 234, 440) ? b + 48 : space;
    return within(n, 456, 469) ? space : n;
}

constexpr Sequence in_other_set(Sequence sequence, const Hanzi &hanzi, Sequence symbol(Sequence))
{
    if (is_symbol(sequence))
        return SymOffset + symbol(sequence - SymOffset);
    return within(sequence, 0, hanzi_end - 1) ? hanzi[static_cast<size_t>(sequence)]
                                              : SymOffset + space;
}

// Rows of two-byte codes: in CNS both bytes begin at 0xA1; in Big5 the first does, and the second
// has 157 values.
constexpr IntT first_byte = 0xA1;
constexpr IntT cns_row = 94;
constexpr IntT big5_row = 157;
constexpr IntT rows = 0xFE - first_byte + 1;

// A code of two bytes; 0 stands for a single zero byte.
using Code = uint16_t;

constexpr Code code_of(IntT b0, IntT b1)
{
    return static_cast<Code>(b0 * 256 + b1);
}

constexpr UCharT four_byte_lead = 0x8E;
constexpr UCharT second_plane = 0xA2;

// The row of a code is the index of its first byte, the column that of its second.

constexpr Sequence big5_sequence(IntT row, IntT column)
{
    constexpr IntT level1 = 0xA4 - first_byte, level1_end = 0xC6 - first_byte + 1;
    constexpr IntT level2 = 0xC9 - first_byte;
    if (row < level1) {
        // The few codes behind the last symbol have no character.
        const Sequence i = row * big5_row + column;
        return i <= 440 ? SymOffset + i : BadSeq;
    }
    if (row < level1_end) {
        const Sequence s = (row - level1) * big5_row + column;
        return s < second_level ? s : BadSeq;
    }
    const Sequence s = second_level + (row - level2) * big5_row + column;
    return within(s, second_level, 13052) ? s : BadSeq;
}

constexpr IntT big5_second_byte(IntT column)
{
    return column + (column < 0x3F ? 0x40 : 0x62);
}

constexpr Code big5_code(Sequence sequence)
{
    Sequence i = sequence;
    IntT first = 0xA4;
    if (is_symbol(sequence)) {
        i = sequence - SymOffset;
        first = first_byte;
        if (i > 440)
            return 0;
    } else if (sequence >= second_level) {
        i = sequence - second_level;
        first = 0xC9;
        if (sequence >= 13053)
            return 0;
    }
    return code_of(first + i / big5_row, big5_second_byte(i % big5_row));
}

constexpr Sequence cns_sequence(IntT row, IntT column)
{
    constexpr IntT symbols_rows = 0xC2 - first_byte + 1;
    constexpr IntT level1 = 0xC4 - first_byte;
    if (row < symbols_rows) {
        const Sequence i = row * cns_row + column;
        return i < symbols_end ? SymOffset + i : BadSeq;
    }
    const Sequence s = (row - level1) * cns_row + column;
    return within(s, 0, second_level - 1) ? s : BadSeq;
}

constexpr Sequence cns_second_sequence(IntT row, IntT column)
{
    const Sequence s = second_level + row * cns_row + column;
    return s < 13051 ? s : BadSeq;
}

// The bytes of a character of CNS, four in the second plane and else two, with zeros behind them.
// All four are zero where a single zero byte is meant.
using CnsBytes = std::array<UCharT, 4>;

constexpr CnsBytes cns_bytes(Sequence sequence)
{
    if (!is_symbol(sequence) && sequence > 13051)
        return {};
    const bool is_second = !is_symbol(sequence) && sequence >= second_level;
    const Sequence i = is_symbol(sequence) ? sequence - SymOffset
                       : is_second         ? sequence - second_level
                                           : sequence;
    const IntT first = is_symbol(sequence) || is_second ? first_byte : 0xC4;
    const auto b0 = static_cast<UCharT>(first + i / cns_row);
    const auto b1 = static_cast<UCharT>(first_byte + i % cns_row);
    return is_second ? CnsBytes{four_byte_lead, second_plane, b0, b1} : CnsBytes{b0, b1};
}

constexpr Hanzi cns_to_big5_hanzi = hanzi_in_other_set(SeqCNStoIBM);
constexpr Hanzi big5_to_cns_hanzi = hanzi_in_other_set(SeqIBMtoCNS);

// A table that maps every code of a plane of CNS to Big5, row by row.
consteval auto big5_codes(Sequence sequence(IntT, IntT))
{
    std::array<Code, rows * cns_row> table{};
    size_t at = 0;
    for (IntT row = 0; row < rows; ++row) {
        for (IntT column = 0; column < cns_row; ++column)
            table[at++] =
                big5_code(in_other_set(sequence(row, column), cns_to_big5_hanzi, CNSSym2IBMSym));
    }
    return table;
}

constexpr auto cns_to_big5 = big5_codes(cns_sequence);
constexpr auto cns_second_to_big5 = big5_codes(cns_second_sequence);

constexpr Code big5_space = big5_code(SymOffset + space);
constexpr CnsBytes cns_space = cns_bytes(SymOffset + space);

// A row has a place for every second byte, so that none has to be checked.
constexpr IntT second_bytes = 256;
constexpr auto big5_to_cns = [] {
    std::array<CnsBytes, size_t{rows} * second_bytes> table{};
    table.fill(cns_space);
    for (IntT row = 0; row < rows; ++row) {
        for (IntT column = 0; column < big5_row; ++column) {
            const Sequence other =
                in_other_set(big5_sequence(row, column), big5_to_cns_hanzi, IBMSym2CNSSym);
            table[static_cast<size_t>(row * second_bytes + big5_second_byte(column))] =
                cns_bytes(other);
        }
    }
    return table;
}();

// Looks up the bytes of a code, which are from 0xA1 on; returns `otherwise` outside the table.
Code cns_entry(const auto &table, UCharT b0, UCharT b1, Code otherwise)
{
    const IntT row = b0 - first_byte;
    const IntT column = b1 - first_byte;
    if (!within(row, 0, rows - 1) || !within(column, 0, cns_row - 1))
        return otherwise;
    return table[static_cast<size_t>(row * cns_row + column)];
}

void put_code(UCharT *&out, Code code)
{
    if (code > 0xFF)
        put(out, code >> 8);
    put(out, code);
}

constexpr AsciiRun ascii{0x00, 0x7F};

} // namespace

IntT VdeCNSEUC2Big5(VdeClT *cl, const char *src, IntT srcLen)
{
    return convert<2>(cl, src, srcLen, [](Source &source, UCharT *&out) {
        const UCharT *const at = source.at;
        if (*at < 0x80) {
            ascii.copy(source, out);
        } else if (*at >= first_byte && source.left() >= 2) {
            put_code(out, cns_entry(cns_to_big5, at[0], at[1], big5_space));
            source.at += 2;
        } else if (*at == four_byte_lead) {
            // A character cut off by the end of the text counts as one invalid character.
            Code code = big5_space;
            if (source.left() >= 4 && within(at[1], second_plane, 0xB0))
                code = cns_entry(cns_second_to_big5, at[2], at[3], big5_space);
            put_code(out, code);
            source.at += std::min(source.left(), int64_t{4});
        } else {
            *out++ = *source.at++;
        }
        return true;
    });
}

IntT VdeBig52CNSEUC(VdeClT *cl, const char *src, IntT srcLen)
{
    return convert<2>(cl, src, srcLen, [](Source &source, UCharT *&out) {
        ascii.copy(source, out);
        const UCharT *at = source.at;
        UCharT *to = out;
        // Converts characters of two bytes, up to one that may begin a run of ASCII.
        while (at < source.stop && *at >= 0x80) {
            if (source.end - at < 2) {
                *to++ = *at++;
                break;
            }
            const IntT row = *at - first_byte;
            const CnsBytes bytes =
                within(row, 0, rows - 1)
                    ? big5_to_cns[static_cast<size_t>(row * second_bytes + at[1])]
                    : cns_space;
            at += 2;
            // The processor cannot predict the plane of a character, so all four bytes are written,
            // and the last two kept only where there are any: these have their highest bits.
            std::memcpy(to, bytes.data(), sizeof bytes);
            to += bytes == CnsBytes{} ? 1 : 2 + (bytes[2] >> 6 & 2);
        }
        source.at = at;
        out = to;
        return true;
    });
}
