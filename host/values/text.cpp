#include "host/values/text.h"

#include <array>
#include <cstdio>
#include <map>
#include <stdexcept>

#include "common/error.h"
#include "common/words.h"
#include "velt/api/facts.h"
#include "velt/vde/language.h"
#include "velt/vde/unicode.h"

namespace velt::host
{
namespace
{

// A byte that encodes no character becomes one of these private characters in UTF-8, which no
// encoding has, and is restored from it, so that a book that is saved and loaded keeps the byte.
constexpr char32_t stray_bytes = 0x10F000;

char32_t stray(unsigned char byte)
{
    return byte < 0x80 ? byte : stray_bytes + byte;
}

constexpr unsigned char controls = 0x20; // and none from here on

// Returns the character for which one of the host's control characters stands, such as the tab or
// the end of a line; 0 for a byte that is none. The end of a paragraph is that of a line here.
char32_t of_control(unsigned char byte)
{
    if (byte == '\n' || byte >= controls)
        return byte == '\n' ? byte : 0;
    const char32_t character = VdeVeltRomanToUnicodeConversionTable[byte];
    return character == 0xFFFF ? 0 : character;
}

char to_control(char32_t character)
{
    if ((character >= controls && character < U'\u00A0') || character > U'\u2029')
        return 0; // as most are
    unsigned char byte = 1;
    while (byte < controls && of_control(byte) != character)
        byte++;
    return static_cast<char>(byte < controls ? byte : 0);
}

// Each is made once, because those of double bytes hold some thousand characters.
const Charset &charset(UIntT encoding)
{
    static std::map<UIntT, Charset> made;
    return made.try_emplace(encoding, encoding).first->second;
}

// Returns the character in quotes, or its number if it cannot be shown.
std::string name_of(char32_t character)
{
    const std::string shown = to_utf8(character);
    if (printable(shown) == shown)
        return "\"" + shown + "\"";
    std::array<char, 16> number;
    std::snprintf(number.data(), number.size(), "U+%04X", static_cast<unsigned>(character));
    return number.data();
}

} // namespace

IntT language_number(const std::string &name)
{
    const IntT number = V_LanguageNumber(name.c_str());
    if (number != V_language_none)
        return number;
    misuse("unknown language " + in_quotes(name) + "; there are " + joined(language_names()));
}

SessionText::SessionText(IntT language)
    : language_(V_LanguageString(language) ? language : V_language_usenglish),
      charset_(charset(V_LanguageEncoding(language_)))
{
}

int SessionText::stray_byte(char32_t character)
{
    const bool stray = character >= stray_bytes + 0x80 && character <= stray_bytes + 0xFF;
    return stray ? static_cast<int>(character - stray_bytes) : -1;
}

std::string SessionText::to_utf8(std::string_view bytes) const
{
    std::string text;
    while (!bytes.empty()) {
        const auto [taken, character] = charset_.decode(bytes);
        if (const char32_t control = of_control(static_cast<unsigned char>(bytes[0])))
            text += velt::to_utf8(control);
        else if (character != 0 && charset_.encode(character) == taken)
            text += velt::to_utf8(character);
        else
            for (const char byte : taken)
                text += velt::to_utf8(stray(static_cast<unsigned char>(byte)));
        bytes.remove_prefix(taken.size());
    }
    return text;
}

std::string SessionText::from_utf8(std::string_view text) const
{
    std::string bytes;
    std::u32string characters;
    try {
        characters = velt::from_utf8(text);
    } catch (const std::runtime_error &) {
        throw std::runtime_error("a text is not UTF-8");
    }
    if (characters.find(U'\0') != characters.npos)
        throw std::runtime_error("a text cannot hold the character 0");
    for (char32_t character : characters) {
        const char control = to_control(character);
        const std::string encoded = control != 0 ? std::string(1, control)
                                    : character < 0x80 || stray_byte(character) >= 0
                                        ? std::string(1, static_cast<char>(character & 0xFF))
                                        : charset_.encode(character);
        if (encoded.empty())
            throw std::runtime_error(name_of(character) + " does not exist in " + charset_.name() +
                                     ", the encoding of " + V_LanguageString(language_));
        bytes += encoded;
    }
    return bytes;
}

} // namespace velt::host
