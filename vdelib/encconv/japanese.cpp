// Conversions between the Japanese encodings.

#include "velt/vde/japanese.h"

#include "vdelib/encconv/bytemaps.h"
#include "vdelib/encconv/output.h"

namespace
{

using namespace velt;

constexpr UCharT escape = 0x1B;
constexpr UCharT single_shift = 0x8E; // precedes a half-width katakana byte in EUC
constexpr unsigned both_high = 0x8080;

constexpr bool is_katakana(UCharT byte)
{
    return byte >= 0xA1 && byte <= 0xDF;
}

constexpr bool is_sjis_lead(UCharT byte)
{
    return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xEF);
}

constexpr bool is_sjis_trail(UCharT byte)
{
    return byte >= 0x40 && byte <= 0xFC;
}

constexpr bool is_euc(UCharT byte)
{
    return byte >= 0xA1 && byte <= 0xFE;
}

constexpr void jis_to_sjis(IntT &c1, IntT &c2)
{
    if ((c1 & 1) == 0)
        c2 += 126;
    else
        c2 += c2 < 0x60 ? 31 : 32;
    c1 = ((c1 + 1) >> 1) + (c1 < 0x5F ? 0x70 : 0xB0);
}

constexpr void sjis_to_jis(IntT &c1, IntT &c2)
{
    const IntT adjust = c2 < 0x9F;
    if (adjust != 0)
        c2 -= c2 < 0x80 ? 31 : 32;
    else
        c2 -= 126;
    c1 = (c1 - (c1 < 0xA0 ? 0x70 : 0xB0)) * 2 - adjust;
}

// A two-byte character, the first byte the higher. Only the low 8 bits of each byte are used, since
// transforms may carry beyond them.
using Code = uint16_t;

constexpr Code code_of(IntT c1, IntT c2)
{
    return static_cast<Code>(c1 * 256 + static_cast<UCharT>(c2));
}

template <void transform(IntT &, IntT &)>
constexpr Code transformed(IntT c1, IntT c2)
{
    transform(c1, c2);
    return code_of(c1, c2);
}

constexpr Code sjis_of_euc(IntT c1, IntT c2)
{
    return transformed<jis_to_sjis>(c1 - 0x80, c2 - 0x80);
}

constexpr Code euc_of_sjis(IntT c1, IntT c2)
{
    return static_cast<Code>(transformed<sjis_to_jis>(c1, c2) + both_high);
}

// A transform of codes as a sum of two table entries: one for the first byte, and one for the
// second, which depends at most on whether the first is odd.
class PairTable
{
public:
    consteval PairTable(Code (*transform)(IntT, IntT), IntT even_lead, IntT trail)
    {
        for (IntT byte = 0; byte < 256; ++byte) {
            const auto index = static_cast<UCharT>(byte);
            leads[index] = transform(byte, trail);
            for (IntT odd = 0; odd < 2; ++odd) {
                trails[static_cast<UCharT>(odd)][index] = static_cast<Code>(
                    transform(even_lead + odd, byte) - transform(even_lead + odd, trail));
            }
        }
    }

    constexpr Code operator()(UCharT c1, UCharT c2) const
    {
        return static_cast<Code>(leads[c1] + trails[c1 & 1][c2]);
    }

    consteval bool is(Code (*transform)(IntT, IntT), bool lead(UCharT), bool trail(UCharT)) const
    {
        for (IntT code = 0; code < 0x10000; ++code) {
            const auto c1 = static_cast<UCharT>(code >> 8);
            const auto c2 = static_cast<UCharT>(code);
            if (lead(c1) && trail(c2) && (*this)(c1, c2) != transform(c1, c2))
                return false;
        }
        return true;
    }

private:
    std::array<Code, 256> leads{};
    std::array<std::array<Code, 256>, 2> trails{};
};

constexpr bool is_seven_bit(UCharT byte)
{
    return byte >= 0x21 && byte <= 0x7E;
}

constexpr PairTable jis_to_sjis_codes{transformed<jis_to_sjis>, 0x30, 0x21};
constexpr PairTable euc_to_sjis{sjis_of_euc, 0xB0, 0xA1};
constexpr PairTable sjis_to_euc{euc_of_sjis, 0x88, 0x9F};
static_assert(jis_to_sjis_codes.is(transformed<jis_to_sjis>, is_seven_bit, is_seven_bit));
static_assert(euc_to_sjis.is(sjis_of_euc, is_euc, is_euc));
static_assert(sjis_to_euc.is(euc_of_sjis, is_sjis_lead, is_sjis_trail));

constexpr Code jis_of_sjis(UCharT c1, UCharT c2)
{
    return static_cast<Code>(sjis_to_euc(c1, c2) - both_high);
}

constexpr Code sjis_of_jis(UCharT c1, UCharT c2)
{
    return jis_to_sjis_codes(c1, c2);
}

constexpr Code euc_of_jis(UCharT c1, UCharT c2)
{
    return static_cast<Code>(code_of(c1, c2) ^ both_high);
}

constexpr UCharT high_byte(Code code)
{
    return static_cast<UCharT>(code >> 8);
}

constexpr UCharT low_byte(Code code)
{
    return static_cast<UCharT>(code);
}

void put_code(UCharT *&out, Code code)
{
    put(out, high_byte(code), low_byte(code));
}

// The full-width Shift-JIS codes of the half-width katakana from 0xA1 on.
constexpr UCharT first_katakana = 0xA1;
using KatakanaTable = std::array<Code, 63>;

consteval KatakanaTable katakana_table()
{
    KatakanaTable table{};
    unsigned at = 0;
    const auto append = [&](unsigned half, auto... codes) {
        // VdeFail cannot be called at compile time, so a row out of order does not compile.
        if (half != first_katakana + at)
            VdeFail();
        ((table.at(at++) = static_cast<Code>(codes)), ...);
    };
#define KATAKANA(half, ...) append(half, __VA_ARGS__);
#include "vdelib/encconv/katakana.def"
#undef KATAKANA
    if (at != table.size())
        VdeFail();
    return table;
}

constexpr KatakanaTable mtable = katakana_table();

enum class Mark : UCharT { none, voiced = 0xDE, semi_voiced = 0xDF };

constexpr bool combines(UCharT katakana, Mark mark)
{
    const bool h_row = katakana >= 0xCA && katakana <= 0xCE;
    const bool voiced = h_row || (katakana >= 0xB6 && katakana <= 0xC4) || katakana == 0xB3;
    return mark == Mark::semi_voiced ? h_row : mark == Mark::voiced && voiced;
}

// Returns the full-width Shift-JIS code and moves the source past a mark that combines.
Code full_width(UCharT katakana, const UCharT *&at, const UCharT *end, IntT mode)
{
    const int shift = mode == VdeHanEuc ? 1 : 0;
    auto mark = Mark::none;
    if (end - at > shift && (shift == 0 || *at == single_shift))
        mark = Mark{at[shift]};
    Code code = mtable[katakana - first_katakana];
    if (!combines(katakana, mark))
        return code;
    at += shift + 1;
    constexpr Code u = 0x8345, vu = 0x8394;
    if (mark == Mark::semi_voiced)
        code = static_cast<Code>(code + 2);
    else
        code = code == u ? vu : static_cast<Code>(code + 1);
    return code;
}

// Writes JIS text.
class JisWriter
{
public:
    void pair(UCharT *&out, Code code)
    {
        if (!kanji)
            put(out, escape, '$', 'B');
        kanji = true;
        put_code(out, code);
    }

    // Writes a katakana byte that the source has just moved past.
    void katakana(UCharT *&out, UCharT byte, Source &source, IntT mode)
    {
        const Code code = full_width(byte, source.at, source.end, mode);
        pair(out, jis_of_sjis(high_byte(code), low_byte(code)));
    }

    // Ends a two-byte part before any other output.
    void leave_kanji(UCharT *&out)
    {
        if (kanji)
            put(out, escape, '(', 'J');
        kanji = false;
    }

private:
    bool kanji = false;
};

constexpr AsciiRun ascii{0x00, 0x7F};
constexpr AsciiRun no_escape{0x00, 0x7F, escape};
constexpr AsciiRun printable{0x20, 0x7E};

constexpr UCharT as_it_is(UCharT byte)
{
    return byte;
}

UCharT in_quire(UCharT byte)
{
    return xatoq_map[byte];
}

// Converts single bytes, at least one: a run that is copied, or else one byte through `other`.
template <const AsciiRun &run, UCharT other(UCharT) = as_it_is>
void copy_bytes(Source &source, UCharT *&out)
{
    if (run.has(*source.at))
        run.copy(source, out);
    else
        *out++ = other(*source.at++);
}

// Copies two bytes of the source unchanged.
void copy_pair(Source &source, UCharT *&out)
{
    put(out, source.at[0], source.at[1]);
    source.at += 2;
}

// Converts from JIS. The conversion of a pair and the copying of single bytes are template
// arguments, so that the compiler inlines them into the loop.
template <Code of_pair(UCharT, UCharT), void copy_singles(Source &, UCharT *&)>
IntT from_jis(VdeClT *cl, const char *src, IntT srcLen)
{
    bool kanji = false;
    return convert<1>(cl, src, srcLen, [kanji](Source &source, UCharT *&out) mutable {
        const UCharT byte = *source.at;
        if (byte == escape) {
            const bool whole = source.left() >= 3;
            const bool shifts = whole && (source.at[1] == '$' || source.at[1] == '(');
            if (shifts)
                kanji = source.at[1] == '$';
            source.at += shifts ? 3 : 1;
        } else if (byte == '\n' || byte == '\r') {
            kanji = false;
            *out++ = *source.at++;
        } else if (kanji) {
            if (source.left() < 2)
                return false;
            put_code(out, of_pair(source.at[0], source.at[1]));
            source.at += 2;
        } else {
            copy_singles(source, out);
        }
        return true;
    });
}

// Converts to JIS: a step also gets the writer.
IntT to_jis(VdeClT *cl, const char *src, IntT srcLen, auto step)
{
    JisWriter jis;
    return convert<5>(
        cl, src, srcLen, [&](Source &source, UCharT *&out) { return step(jis, source, out); },
        [&](UCharT *&out) { jis.leave_kanji(out); });
}

} // namespace

IntT VdeJisToShiftJis(VdeClT *cl, const char *src, IntT srcLen)
{
    return from_jis<sjis_of_jis, copy_bytes<printable, in_quire>>(cl, src, srcLen);
}

IntT VdeJisToEuc(VdeClT *cl, const char *src, IntT srcLen)
{
    return from_jis<euc_of_jis, copy_bytes<no_escape>>(cl, src, srcLen);
}

IntT VdeShiftJisToJis(VdeClT *cl, const char *src, IntT srcLen)
{
    return to_jis(cl, src, srcLen, [](JisWriter &jis, Source &source, UCharT *&out) {
        const UCharT byte = *source.at;
        if (is_sjis_lead(byte)) {
            if (source.left() < 2)
                return false;
            if (is_sjis_trail(source.at[1])) {
                jis.pair(out, jis_of_sjis(byte, source.at[1]));
                source.at += 2;
            } else {
                copy_pair(source, out);
            }
        } else if (is_katakana(byte)) {
            ++source.at;
            jis.katakana(out, byte, source, VdeHanShiftJis);
        } else {
            jis.leave_kanji(out);
            copy_bytes<ascii>(source, out);
        }
        return true;
    });
}

IntT VdeShiftJisToEuc(VdeClT *cl, const char *src, IntT srcLen)
{
    return convert<2>(cl, src, srcLen, [](Source &source, UCharT *&out) {
        const UCharT byte = *source.at;
        if (is_sjis_lead(byte)) {
            if (source.left() < 2)
                return false;
            const UCharT trail = source.at[1];
            put_code(out, is_sjis_trail(trail) ? sjis_to_euc(byte, trail) : code_of(byte, trail));
            source.at += 2;
        } else if (is_katakana(byte)) {
            put(out, single_shift, byte);
            ++source.at;
        } else {
            copy_bytes<ascii>(source, out);
        }
        return true;
    });
}

IntT VdeEucToJis(VdeClT *cl, const char *src, IntT srcLen)
{
    return to_jis(cl, src, srcLen, [](JisWriter &jis, Source &source, UCharT *&out) {
        const UCharT byte = *source.at;
        if (!is_euc(byte) && byte != single_shift) {
            jis.leave_kanji(out);
            copy_bytes<ascii>(source, out);
            return true;
        }
        if (source.left() < 2)
            return false;
        const UCharT second = source.at[1];
        if (byte != single_shift && is_euc(second)) {
            jis.pair(out, static_cast<Code>(code_of(byte, second) - both_high));
            source.at += 2;
        } else if (byte == single_shift && is_katakana(second)) {
            source.at += 2;
            jis.katakana(out, second, source, VdeHanEuc);
        } else {
            copy_pair(source, out);
        }
        return true;
    });
}

IntT VdeEucToShiftJis(VdeClT *cl, const char *src, IntT srcLen)
{
    return convert<1>(cl, src, srcLen, [](Source &source, UCharT *&out) {
        const UCharT byte = *source.at;
        if (!is_euc(byte) && byte != single_shift) {
            copy_bytes<printable, in_quire>(source, out);
            return true;
        }
        if (source.left() < 2)
            return false;
        const UCharT second = source.at[1];
        if (byte == single_shift && is_katakana(second)) {
            *out++ = second;
            source.at += 2;
        } else if (byte != single_shift && is_euc(second)) {
            put_code(out, euc_to_sjis(byte, second));
            source.at += 2;
        } else {
            copy_pair(source, out);
        }
        return true;
    });
}

void Vdejis2sjis(IntT *c1, IntT *c2)
{
    jis_to_sjis(*c1, *c2);
}

void Vdesjis2jis(IntT *c1, IntT *c2)
{
    sjis_to_jis(*c1, *c2);
}

IntT Vdehan2zen(const char *src, IntT *index, IntT *c1, IntT *c2, IntT mode)
{
    const IntT byte = *c1;
    if (byte < first_katakana || !is_katakana(static_cast<UCharT>(byte)) || byte > 0xFF)
        return byte;
    const char *at = src + *index;
    const auto *begin = reinterpret_cast<const UCharT *>(at);
    const UCharT *next = begin;
    const Code code = full_width(static_cast<UCharT>(byte), next, begin + strnlen(at, 2), mode);
    *index += static_cast<IntT>(next - begin);
    *c1 = high_byte(code);
    *c2 = low_byte(code);
    return byte;
}
