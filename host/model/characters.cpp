#include "host/model/characters.h"

#include <algorithm>

#include "vdelib/encode/fontenc.h"
#include "velt/vde/quire.h"

namespace velt::host
{
namespace
{

const VdeFontEncT *font_encoding(UIntT encoding)
{
    set_up_font_encodings();
    return vdeFontEncs[V_TextEncToFontEnc(encoding)];
}

} // namespace

Characters::Characters(UIntT encoding)
    : encoding_(font_encoding(encoding)),
      single_(std::ranges::all_of(encoding_->firstByte, [](UCharT begins) { return begins == 0; })),
      quire_(encoding == VdeEncQuire)
{
}

IntT Characters::count(std::string_view text) const
{
    if (single_)
        return static_cast<IntT>(text.size());
    IntT counted = 0;
    for (std::size_t byte = 0; byte < text.size(); byte += size_at(text, byte))
        counted++;
    return counted;
}

std::optional<std::size_t> Characters::byte_of(std::string_view text, IntT offset) const
{
    if (offset < 0 || static_cast<std::size_t>(offset) > text.size())
        return {};
    if (single_)
        return static_cast<std::size_t>(offset);
    std::size_t byte = 0;
    for (; offset > 0 && byte < text.size(); offset--)
        byte += size_at(text, byte);
    return offset == 0 ? std::optional(byte) : std::nullopt;
}

bool Characters::whole(std::string_view text) const
{
    for (std::size_t byte = 0, size = 0; !single_ && byte < text.size(); byte += size) {
        size = size_at(text, byte);
        if (size == 1 && encoding_->firstByte[at(text, byte)] != 0)
            return false;
    }
    return true;
}

std::string Characters::folded(std::string_view text) const
{
    std::string lower(text);
    for (std::size_t byte = 0, size = 0; byte < lower.size(); byte += size) {
        size = size_at(lower, byte);
        if (size == 1)
            lower[byte] = folded(lower[byte]);
    }
    return lower;
}

char Characters::folded(char byte) const
{
    const auto code = static_cast<UCharT>(byte);
    return quire_ || code < 0x80 ? static_cast<char>(VdeQToLower[code]) : byte;
}

bool Characters::is_of_word(std::string_view text, std::size_t byte) const
{
    if (!quire_ && at(text, byte) >= 0x80)
        return true;
    return (VdeCharProps[at(text, byte)] & VdeCharWord) != 0;
}

} // namespace velt::host
