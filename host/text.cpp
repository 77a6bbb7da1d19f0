#include "host/text.h"

#include <stdexcept>

namespace velt::host
{

std::string SessionText::to_utf8(std::string_view bytes) const
{
    std::string text;
    while (!bytes.empty()) {
        const auto [taken, character] = charset_.decode(bytes);
        if (character != 0)
            text += ::to_utf8(character);
        else if (static_cast<unsigned char>(taken[0]) < 0x80)
            text += taken;
        else
            text += "\uFFFD";
        bytes.remove_prefix(taken.size());
    }
    return text;
}

std::string SessionText::from_utf8(std::string_view text) const
{
    std::string bytes;
    std::u32string characters;
    try {
        characters = ::from_utf8(text);
    } catch (const std::runtime_error &) {
        throw std::runtime_error("a text is not UTF-8");
    }
    for (char32_t character : characters) {
        const std::string encoded = character < 0x80 ? std::string(1, static_cast<char>(character))
                                                     : charset_.encode(character);
        if (encoded.empty())
            throw std::runtime_error("\"" + ::to_utf8(character) + "\" does not exist in " +
                                     charset_.name() + ", the encoding of the book's language");
        bytes += encoded;
    }
    return bytes;
}

} // namespace velt::host
