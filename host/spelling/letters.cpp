#include "host/spelling/letters.h"

#include <algorithm>

#include "velt/vde/encodings.h"
#include "velt/vde/language.h"
#include "velt/vde/quire.h"

namespace velt::host
{
namespace
{

constexpr char32_t right_quote = U'\u2019', first_hangul = U'\uAC00', last_hangul = U'\uD7A3';

unsigned char code(char byte)
{
    return static_cast<unsigned char>(byte);
}

} // namespace

Letters::Letters(IntT language)
    : quire_(V_LanguageEncoding(language) == VdeEncQuire), charset_(V_LanguageEncoding(language))
{
}

bool Letters::has_case(char byte) const
{
    return quire_ || code(byte) < 0x80;
}

Letters::Character Letters::first(std::string_view text) const
{
    // The encodings have in common what is ASCII, with the control characters of Quire text.
    if (has_case(text[0])) {
        const unsigned properties = VdeCharProps[code(text[0])];
        const std::string_view byte = text.substr(0, 1);
        if (properties & VdeCharLetter)
            return {byte, letter};
        if (properties & VdeCharDigit)
            return {byte, digit};
        if (text[0] == '\'')
            return {byte, apostrophe};
        if (properties & VdeCharWord && properties & VdeCharSpecial)
            return {byte, hidden};
        if (code(text[0]) < 0x80)
            return {byte, other};
    }
    const auto [bytes, character] = charset_.decode(text);
    if (character == right_quote)
        return {bytes, apostrophe};
    return {bytes, character >= first_hangul && character <= last_hangul ? letter : other};
}

IntT Letters::count(std::string_view text) const
{
    if (quire_)
        return static_cast<IntT>(text.size());
    IntT count = 0;
    for (; !text.empty(); count++)
        text.remove_prefix(first(text).bytes.size());
    return count;
}

std::optional<std::string> Letters::from_utf8(std::string_view text) const
{
    if (std::ranges::all_of(text, [](char byte) { return code(byte) < 0x80; }))
        return std::string(text);
    std::string bytes;
    for (char32_t character : velt::from_utf8(text)) {
        const std::string encoded = character < 0x80 ? std::string(1, static_cast<char>(character))
                                                     : charset_.encode(character);
        if (encoded.empty())
            return std::nullopt;
        bytes += encoded;
    }
    return bytes;
}

std::string Letters::to_utf8(std::string_view bytes) const
{
    std::string text;
    while (!bytes.empty()) {
        const auto [taken, character] = charset_.decode(bytes);
        text += character != 0 ? velt::to_utf8(character) : std::string(taken);
        bytes.remove_prefix(taken.size());
    }
    return text;
}

std::string Letters::spelt(std::string_view word) const
{
    std::string made;
    while (!word.empty()) {
        const auto [bytes, kind] = first(word);
        if (kind != hidden)
            made += kind == apostrophe ? "'" : bytes;
        word.remove_prefix(bytes.size());
    }
    return made;
}

std::string Letters::mapped(std::string_view word, const UCharT *map, std::size_t most) const
{
    std::string made;
    for (; !word.empty() && most > 0; most--) {
        const std::string_view each = first(word).bytes;
        made += each.size() == 1 && has_case(each[0])
                    ? std::string(1, static_cast<char>(map[code(each[0])]))
                    : std::string(each);
        word.remove_prefix(each.size());
    }
    return made.append(word);
}

std::string Letters::lower(std::string_view word) const
{
    return mapped(word, VdeQToLower, word.size());
}

std::string Letters::upper(std::string_view word) const
{
    return mapped(word, VdeQToUpper, word.size());
}

std::string Letters::capitalised(std::string_view word) const
{
    return mapped(word, VdeQToUpper, 1);
}

} // namespace velt::host
