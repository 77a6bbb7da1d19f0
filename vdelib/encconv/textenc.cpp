// Names and ids of the text encodings, and the control characters of Quire text.

#include <algorithm>
#include <iterator>

#include "vdelib/encconv/bytemaps.h"
#include "velt/vde/encodings.h"
#include "velt/vde/fontenc.h"
#include "velt/vde/quire.h"

namespace
{

struct TextEncName {
    UIntT value;
    const char *name;
    UIntT flags;
};

constexpr TextEncName encMap[] = {
#define TEXT_ENCODING(id, name, flags) {id, name, flags},
#include "vdelib/encconv/textencs.def"
#undef TEXT_ENCODING
};

static_assert(std::ranges::is_sorted(encMap, {}, &TextEncName::value));
static_assert(std::rbegin(encMap)->value <= VdeEncLast);

struct FontEnc {
    const UIntT *font;
    UIntT text;
};

// The first row is the default.
const FontEnc font_encs[] = {
    {&vdeVeltRomanEncodingId, VdeEncQuire},     {&vdeJISX0208_ShiftJISEncodingId, VdeEncShiftJis},
    {&vdeKSC5601_1992EncodingId, VdeEncKscEuc}, {&vdeBIG5EncodingId, VdeEncBig5},
    {&vdeGB2312_80_EUCEncodingId, VdeEncGbEuc},
};

const FontEnc &find_font_enc(auto matches)
{
    const auto *found = std::ranges::find_if(font_encs, matches);
    return found != std::end(font_encs) ? *found : font_encs[0];
}

using ControlMap = std::array<UCharT, 32>;

// The images of the control characters; 0 for those that stay.
constexpr ControlMap vq_control_to_external_map = [] {
    ControlMap map{};
    map[0x08] = '\t';
    map[0x09] = '\n';
    std::fill(&map[0x10], &map[0x15], UCharT{' '});
    map[0x15] = '-';
    return map;
}();

// Replaces each byte by its image.
StringT rewrite(StringT s, auto image)
{
    for (; s && *s != '\0'; ++s)
        *s = static_cast<char>(image(static_cast<UCharT>(*s)));
    return s;
}

// Returns the capital of the next letter or digit, or 0 at the end.
UCharT next_alphanumeric(const char *&s)
{
    for (; s && *s != '\0'; ++s) {
        const auto byte = static_cast<UCharT>(*s);
        if ((VdeCharProps[byte] & (VdeCharLetter | VdeCharDigit)) != 0) {
            ++s;
            return VdeQToUpper[byte];
        }
    }
    return 0;
}

} // namespace

const char *VdeTextEncValueToNameByType(UIntT id, UIntT type)
{
    const char *name = nullptr;
    for (const TextEncName &row : encMap) {
        if (row.value != id)
            continue;
        if (!name || (row.flags & type) != 0)
            name = row.name;
        if ((row.flags & type) != 0)
            break;
    }
    return name ? name : "";
}

const char *VdeTextEncValueToName(UIntT id)
{
    return VdeTextEncValueToNameByType(id, 0);
}

const char *VdeTextEncValueToMimeName(UIntT id)
{
    return VdeTextEncValueToNameByType(id, VdeEncMimeName);
}

UIntT VdeTextEncNameToValue(const char *name)
{
    const auto *row = std::ranges::find_if(
        encMap, [name](const auto &each) { return V_StrANICmp(name, each.name) == 0; });
    return row != std::end(encMap) ? row->value : UIntT{VdeEncQuire};
}

IntT V_StrANICmp(const char *a, const char *b)
{
    for (;;) {
        const UCharT ca = next_alphanumeric(a);
        const UCharT cb = next_alphanumeric(b);
        if (ca != cb || ca == 0)
            return ca - cb;
    }
}

UIntT V_FontEncToTextEnc(UIntT fontEnc)
{
    return find_font_enc([=](const FontEnc &row) { return *row.font == fontEnc; }).text;
}

UIntT V_TextEncToFontEnc(UIntT textEnc)
{
    return *find_font_enc([=](const FontEnc &row) { return row.text == textEnc; }).font;
}

StringT VdeVQControlToExternal(StringT s)
{
    return rewrite(s, [](UCharT byte) {
        const bool control = byte < vq_control_to_external_map.size();
        const UCharT mapped = control ? vq_control_to_external_map[byte] : UCharT{0};
        return mapped != 0 ? mapped : byte;
    });
}

StringT VdeExternalControlToVQ(StringT s)
{
    return rewrite(s, [](UCharT byte) { return byte == '\t' ? UCharT{'\b'} : byte; });
}
