// Converts texts between a person's UTF-8 and the encoding of the session's language, in which
// clients send and get them.
#pragma once

#include <string>
#include <string_view>

#include "common/charset.h"
#include "common/printable.h"
#include "velt/scalars.h"

namespace velt::host
{

// Returns the number of a language by its name. Throws Error, which lists the names,
// when there is none.
IntT language_number(const std::string &name);

class SessionText
{
public:
    // A language that is unknown has the encoding of US English.
    explicit SessionText(IntT language);

    // Returns the bytes as UTF-8. The host's control characters become a tab, the end of a line
    // (U+2028) or of a paragraph ('\n'), and spaces. Bytes that encode no character, or are not
    // those by which it is encoded again, become private characters, which from_utf8 turns back
    // into them.
    std::string to_utf8(std::string_view bytes) const;
    // Returns them as UTF-8 that is fit to print in a line.
    std::string shown(std::string_view bytes) const { return printable_line(to_utf8(bytes)); }
    // Throws std::runtime_error when the text is not UTF-8, holds the character 0, or has a
    // character that the encoding lacks.
    std::string from_utf8(std::string_view text) const;

    // Returns the byte for which such a private character stands, or -1.
    static int stray_byte(char32_t character);

private:
    IntT language_;
    const Charset &charset_;
};

} // namespace velt::host
