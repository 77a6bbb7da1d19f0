// The byte encodings in which the languages' texts are kept.
#pragma once

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "velt/scalars.h"

namespace velt
{

// These convert between code points and UTF-8. from_utf8 throws std::runtime_error.
std::u32string from_utf8(std::string_view text);
std::string to_utf8(char32_t character);

// Returns the names of the languages, in the order of their numbers.
std::vector<std::string> language_names();

// Returns the text without the byte order mark that some editors put at the beginning of UTF-8.
constexpr std::string_view without_byte_order_mark(std::string_view text)
{
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    return text.starts_with(mark) ? text.substr(mark.size()) : text;
}

// A text encoding in which the host keeps text of a language. All of them contain ASCII; other
// characters are looked up.
class Charset
{
public:
    explicit Charset(UIntT id);

    const std::string &name() const { return name_; }

    // Returns the bytes of a character outside ASCII; empty if the encoding lacks it.
    std::string encode(char32_t character) const;

    // Decodes the character of one or two bytes at the beginning of nonempty text: a view of its
    // bytes, and its code point, which is 0 for an ASCII character and for bytes that encode
    // nothing.
    struct Decoded {
        std::string_view bytes;
        char32_t character;
    };
    Decoded decode(std::string_view text) const;

private:
    std::string name_;
    std::array<bool, 256> leads_, trails_;
    std::map<std::string, char32_t, std::less<>> characters_;
    std::map<char32_t, std::string> bytes_;
};

} // namespace velt
