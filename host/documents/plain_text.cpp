#include "host/documents/plain_text.h"

#include <algorithm>
#include <stdexcept>

#include "common/charset.h"

namespace velt::host
{
namespace
{

bool begins_character(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
}

// Returns the line in the session's encoding. When that fails, it is converted anew by characters,
// to find the column.
std::string converted(std::string_view line, int number, const SessionText &session)
{
    try {
        return session.from_utf8(line);
    } catch (const std::runtime_error &) {
    }
    int column = 1;
    for (std::size_t at = 0, end = 0; at < line.size(); at = end, column++) {
        for (end = at + 1; end < line.size() && !begins_character(line[end]);)
            end++;
        try {
            session.from_utf8(line.substr(at, end - at));
        } catch (const std::runtime_error &error) {
            throw std::runtime_error(std::to_string(number) + ":" + std::to_string(column) + ": " +
                                     error.what());
        }
    }
    throw std::runtime_error(std::to_string(number) + ":1: a text is not UTF-8");
}

} // namespace

std::string lines_of(std::string_view file, const SessionText &session)
{
    file = without_byte_order_mark(file);
    std::string lines;
    for (int number = 1; !file.empty(); number++) {
        const auto end = std::min(file.find('\n'), file.size());
        std::string_view line = file.substr(0, end);
        file.remove_prefix(std::min(end + 1, file.size()));
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        lines += (number == 1 ? "" : "\n") + converted(line, number, session);
    }
    return lines;
}

std::string plain_text(std::string_view text, const SessionText &session, bool &lost)
{
    std::string plain;
    for (const char32_t character : from_utf8(session.to_utf8(text))) {
        const bool stray = SessionText::stray_byte(character) >= 0;
        plain += to_utf8(stray ? U'\uFFFD' : character);
        lost |= stray;
    }
    return plain;
}

} // namespace velt::host
