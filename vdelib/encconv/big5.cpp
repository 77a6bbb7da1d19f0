// Conversions between Big5 and the EUC form of CNS 11643.

#include <arpa/inet.h>

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

// A four-byte code of CNS is kept as its last two bytes with this bit clear.
constexpr Code two_bytes = 0x80;

constexpr UCharT four_byte_lead = 0x8E;
constexpr IntT second_plane = 0xA2;

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
    const IntT trail = i % big5_row + 0x40;
    return code_of(first + i / big5_row, trail < 0x7F ? trail : trail + 0x22);
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

constexpr Code cns_code(Sequence sequence)
{
    Sequence i = sequence;
    IntT first = 0xC4;
    if (is_symbol(sequence)) {
        i = sequence - SymOffset;
        first = first_byte;
    } else if (sequence >= second_level) {
        i = sequence - second_level;
        first = first_byte;
        if (sequence > 13051)
            return 0;
    }
    const Code code = code_of(first + i / cns_row, first_byte + i % cns_row);
    return sequence >= second_level ? static_cast<Code>(code & ~two_bytes) : code;
}

// A table that maps every code of one set to the other, row by row.
template <IntT columns>
consteval auto codes(Sequence sequence(IntT, IntT), const Hanzi &hanzi, Sequence symbol(Sequence),
                     Code code(Sequence))
{
    std::array<Code, rows * columns> table{};
    size_t at = 0;
    for (IntT row = 0; row < rows; ++row) {
        for (IntT column = 0; column < columns; ++column)
            table[at++] = code(in_other_set(sequence(row, column), hanzi, symbol));
    }
    return table;
}

constexpr Hanzi cns_to_big5_hanzi = hanzi_in_other_set(SeqCNStoIBM);
constexpr Hanzi big5_to_cns_hanzi = hanzi_in_other_set(SeqIBMtoCNS);

constexpr auto cns_to_big5 =
    codes<cns_row>(cns_sequence, cns_to_big5_hanzi, CNSSym2IBMSym, big5_code);
constexpr auto cns_second_to_big5 =
    codes<cns_row>(cns_second_sequence, cns_to_big5_hanzi, CNSSym2IBMSym, big5_code);
constexpr auto big5_to_cns =
    codes<big5_row>(big5_sequence, big5_to_cns_hanzi, IBMSym2CNSSym, cns_code);

constexpr Code big5_space = big5_code(SymOffset + space);
constexpr Code cns_space = cns_code(SymOffset + space);

constexpr UCharT no_column = 0xFF;

constexpr auto big5_columns = [] {
    std::array<UCharT, 256> columns{};
    for (IntT byte = 0; byte < 256; ++byte) {
        UCharT &column = columns[static_cast<size_t>(byte)];
        column = no_column;
        if (within(byte, 0x40, 0x7E))
            column = static_cast<UCharT>(byte - 0x40);
        else if (within(byte, 0xA1, 0xFE))
            column = static_cast<UCharT>(byte - 0x62);
    }
    return columns;
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

// Writes both bytes of a code in one step.
void put_two_bytes(UCharT *&out, Code code)
{
    const Code bytes = htons(code);
    std::memcpy(out, &bytes, sizeof bytes);
    out += sizeof bytes;
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
        const UCharT *const at = source.at;
        if (*at < 0x80) {
            ascii.copy(source, out);
            return true;
        }
        if (source.left() < 2) {
            *out++ = *source.at++;
            return true;
        }
        const IntT row = *at - first_byte;
        const UCharT column = big5_columns[at[1]];
        Code code = cns_space;
        if (within(row, 0, rows - 1) && column != no_column)
            code = big5_to_cns[static_cast<size_t>(row * big5_row + column)];
        source.at += 2;
        if (code == 0) {
            put(out, 0);
            return true;
        }
        // The processor cannot predict the plane of a character, so the prefix of the second plane
        // is always written, and kept only where it is needed.
        out[0] = four_byte_lead;
        out[1] = second_plane;
        out += (~code & two_bytes) / (two_bytes / 2);
        put_two_bytes(out, static_cast<Code>(code | two_bytes));
        return true;
    });
}
