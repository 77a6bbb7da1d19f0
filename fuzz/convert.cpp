// Fuzzes every conversion between text encodings, with text in a block of exactly its size.

#include "fuzz/input.h"
#include "velt/vde/chinese.h"
#include "velt/vde/encodings.h"
#include "velt/vde/fontenc.h"
#include "velt/vde/japanese.h"
#include "velt/vde/memory.h"
#include "velt/vde/unicode.h"

namespace
{

constexpr struct {
    UIntT from, to;
} conversions[] = {
#define CONVERSION(from, to, converter) {from, to},
#include "vdelib/encconv/conversions.def"
#undef CONVERSION
};

constexpr IntT (*converters[])(VdeClT *, const char *, IntT) = {
    VdeJisToShiftJis, VdeJisToEuc,    VdeShiftJisToJis, VdeShiftJisToEuc, VdeEucToJis,
    VdeEucToShiftJis, VdeBig52CNSEUC, VdeCNSEUC2Big5,   VdeGb8ToHz,       VdeHzToGb8};

// A table of two-byte characters with the first bytes 81 to FE and code points of every length in
// UTF-8.
void load_tables()
{
    std::string table = "\x81\xFE";
    for (int row = 0x80; row <= 0xFE; row++) {
        table += "\x20\xFD";
        for (int byte = 0x20; byte <= 0xFD; byte++)
            table += {static_cast<char>(row == 0x80 ? 0 : byte), static_cast<char>(byte)};
    }
    const Place place;
    V_FdeInitFontEncs(nullptr);
    for (UIntT id = 1; id <= vdeLastEncodingId; id++)
        place.write(std::string("unicode/") + V_FontEncName(id) + ".UCOD", table);
    V_FdeInitUnicode(place.path());
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    [[maybe_unused]] static const bool once = (load_tables(), true);
    Input input(data, size);
    const auto [from, to] = conversions[input.byte() % std::size(conversions)];
    const std::uint8_t other = input.byte();
    const std::string_view text = input.rest();

    const auto string = exact_string(text);
    V_Free(V_StrConvertEnc(string.get(), from, to));
    V_Free(VdeTextEncStringToLString(string.get(), from));

    // The text contains zero bytes, has no terminator, and is appended to a builder's content.
    const auto block = exact(text);
    const auto length = static_cast<IntT>(text.size());
    UCharT held[9];
    VdeClT builder;
    VdeClInitWithBuffer(&builder, held, sizeof held, other & 0x80 ? 0 : 1 + (other & 15));
    VdeClAddString(&builder, "held");
    converters[other % std::size(converters)](&builder, block.get(), length);
    vdeTranslateToUnicode(&builder, block.get(), length, from);
    require(std::memcmp(builder.buf, "held", 4) == 0 && builder.buf[builder.len] == 0,
            "a builder keeps what it holds, and is terminated");
    if ((builder.flags & VdeClCallersBuffer) == 0)
        V_Free(builder.buf);
    return 0;
}
