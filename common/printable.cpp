#include "common/printable.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace velt
{
namespace
{

constexpr char32_t no_character = 0x110000;

struct Decoded {
    std::string_view bytes;
    char32_t character;
};

// Decodes the first character of nonempty text; one byte of malformed UTF-8.
Decoded decode(std::string_view text)
{
    const auto lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80)
        return {text.substr(0, 1), lead};
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    char32_t character = lead & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; i++) {
        const auto byte = static_cast<unsigned char>(i < text.size() ? text[i] : 0);
        if ((byte & 0xC0) != 0x80)
            return {text.substr(0, 1), no_character};
        character = character << 6 | (byte & 0x3F);
    }
    constexpr std::array<char32_t, 5> least = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    if (lead < 0xC2 || lead > 0xF4 || character < least[length] || character >= no_character ||
        surrogate)
        return {text.substr(0, 1), no_character};
    return {text.substr(0, length), character};
}

// Rejects control characters, U+0080 to U+009F included; line ends; characters that change the
// direction of text; and code points without characters.
bool fit_to_print(char32_t c)
{
    return !(c < 0x20 || (c >= 0x7F && c < 0xA0) || (c >= 0x2028 && c <= 0x202E) ||
             (c >= 0x2066 && c <= 0x2069) || c == 0xFFFE || c == 0xFFFF || c >= no_character);
}

template <class Other>
std::string with_replaced(std::string_view text, Other other)
{
    std::string printed;
    printed.reserve(text.size());
    while (!text.empty()) {
        const auto [bytes, character] = decode(text);
        if (fit_to_print(character))
            printed += bytes;
        else
            printed += other(character);
        text.remove_prefix(bytes.size());
    }
    return printed;
}

} // namespace

std::string printable(std::string_view text)
{
    return with_replaced(text, [](char32_t) { return '?'; });
}

std::string printable_lines(std::string_view text)
{
    return with_replaced(text, [](char32_t c) {
        const bool line_end = c == U'\n' || c == U'\u2028' || c == U'\u2029';
        return line_end ? '\n' : c == U'\t' ? ' ' : '?';
    });
}

std::string printable_line(std::string_view text)
{
    std::string line = printable_lines(text);
    std::ranges::replace(line, '\n', ' ');
    return line;
}

std::string shortened(std::string_view name, std::size_t most)
{
    if (name.size() <= most)
        return std::string(name);
    std::size_t end = most;
    while (end > 0 && (static_cast<unsigned char>(name[end]) & 0xC0) == 0x80) // inside a character
        end--;
    return std::string(name.substr(0, end)) + "...";
}

std::string in_quotes(std::string_view name)
{
    return "\"" + shortened(name) + "\"";
}

std::string printable_json(std::string_view json)
{
    return with_replaced(json, [](char32_t c) {
        std::array<char, 8> escape;
        std::snprintf(escape.data(), escape.size(), "\\u%04x",
                      static_cast<unsigned>(c < no_character ? c : 0xFFFD));
        return std::string(escape.data());
    });
}

std::string printable_xml(std::string_view text)
{
    std::string escaped;
    for (const char c : printable_lines(text)) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        case '\n':
            escaped += "&#10;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

} // namespace velt
