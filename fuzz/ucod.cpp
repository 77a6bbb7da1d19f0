// Fuzzes the table files of the East Asian encodings.

#include "fuzz/input.h"
#include "vdelib/encconv/unicode.h"
#include "velt/vde/fontenc.h"
#include "velt/vde/memory.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const Place place;
    [[maybe_unused]] static const IntT once = V_FdeInitFontEncs(nullptr);
    Input input(data, size);
    const std::string_view content = input.rest();
    place.write("unicode/x.UCOD", content);

    UCharT *packed = VdeGetPackedUnicodeInfo("x", place.path());
    require(!packed ||
                std::equal(content.begin(), content.end(), reinterpret_cast<const char *>(packed)),
            "a file is read as it is");
    V_Free(packed);
    VdeFontEncT font = *vdeFontEncs[vdeBIG5EncodingId];
    char name[] = "x";
    font.name = name;
    velt::EastAsianTable *table = velt::load_table(font, place.path());
    if (!table)
        return 0;
    volatile unsigned sum = 0;
    const auto add = [&sum](const velt::Utf8Row *row) {
        for (const velt::Utf8 &character : *row)
            sum = sum + velt::code_point(character);
    };
    add(table->single);
    for (const velt::Utf8Row *row : table->pairs) {
        if (row)
            add(row);
    }
    V_Free(table);
    return 0;
}
