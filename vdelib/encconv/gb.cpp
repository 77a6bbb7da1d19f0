// Conversions between GB 2312 in EUC and HZ.

#include "vdelib/encconv/output.h"
#include "velt/vde/chinese.h"

namespace
{

using namespace velt;

constexpr bool is_gb(UCharT byte)
{
    return byte >= 0xA1 && byte <= 0xFE;
}

constexpr bool is_line_end(UCharT byte)
{
    return byte == '\n' || byte == '\r';
}

constexpr UCharT top_bit = 0x80;
constexpr AsciiRun plain{0x00, 0x7F, '~'};

} // namespace

IntT VdeGb8ToHz(VdeClT *cl, const char *src, IntT srcLen)
{
    bool gb = false;
    const auto leave_gb = [&gb](UCharT *&out) {
        if (gb)
            put(out, '~', '}');
        gb = false;
    };
    return convert<4>(
        cl, src, srcLen,
        [&](Source &source, UCharT *&out) {
            const UCharT byte = *source.at;
            if (is_gb(byte)) {
                if (source.left() < 2)
                    return false;
                const UCharT second = source.at[1];
                UCharT cleared = 0;
                if (is_gb(second)) {
                    if (!gb)
                        put(out, '~', '{');
                    gb = true;
                    cleared = top_bit;
                }
                put(out, byte & ~cleared, second & ~cleared);
                source.at += 2;
                return true;
            }
            leave_gb(out);
            if (plain.has(byte)) {
                plain.copy(source, out);
                return true;
            }
            if (byte == '~')
                put(out, '~');
            put(out, byte);
            ++source.at;
            return true;
        },
        leave_gb);
}

IntT VdeHzToGb8(VdeClT *cl, const char *src, IntT srcLen)
{
    bool gb = false;
    return convert<1>(cl, src, srcLen, [gb](Source &source, UCharT *&out) mutable {
        const UCharT byte = *source.at;
        if (byte == '~') {
            const UCharT second = source.left() >= 2 ? source.at[1] : UCharT{0};
            gb = second == '{' || (gb && second == '~');
            if (second == '~')
                put(out, '~');
            source.at += second == '{' || second == '}' || second == '~' ? 2 : 1;
        } else if (gb && !is_line_end(byte)) {
            if (source.left() < 2)
                return false;
            put(out, byte | top_bit, source.at[1] | top_bit);
            source.at += 2;
        } else if (!gb && plain.has(byte)) {
            plain.copy(source, out);
        } else {
            gb = false;
            put(out, byte);
            ++source.at;
        }
        return true;
    });
}

void Vdegb72gb8(IntT *c1, IntT *c2)
{
    *c1 += top_bit;
    *c2 += top_bit;
}

void Vdegb8_2_big5(IntT, IntT *c2)
{
    *c2 -= *c2 < 0x80 ? 31 : *c2 < 0x9F ? 32 : 126;
}
