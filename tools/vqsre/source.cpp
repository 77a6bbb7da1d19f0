// Sources: parsing, checks, and printing.

#include "tools/vqsre/source.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>

#include "common/charset.h"
#include "common/file.h"
#include "common/printable.h"
#include "tools/vqsre/sre.h"
#include "velt/vde/memory.h"
#include "velt/vde/quire.h"

using namespace velt;

namespace
{

using LineError = std::runtime_error;

struct Freer {
    void operator()(char *text) const { V_Free(text); }
};
using OwnedText = std::unique_ptr<char, Freer>;

std::string hex(const char *format, unsigned value)
{
    char text[16];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

// Returns the byte of an escape in the host's text form, a backslash and a letter.
std::optional<char> escaped(char32_t letter)
{
    if (letter <= 0 || letter >= 0x80)
        return std::nullopt;
    const char escape[] = {'\\', static_cast<char>(letter), '\0'};
    const OwnedText byte(VdeDbTextToQuire(escape));
    if (*byte == escape[1] && letter != U'\\')
        return std::nullopt; // no escape: the letter stands for itself
    return *byte;
}

std::string encode(char32_t character, const Charset &charset)
{
    if (character >= 0x20 && character < 0x7F)
        return {static_cast<char>(character)};
    if (character < 0x20 || character == 0x7F)
        throw LineError("a control character (" + hex("U+%04X", character) +
                        "); it is written as an escape");
    std::string bytes = charset.encode(character);
    if (bytes.empty())
        throw LineError(charset.name() + " has no '" + to_utf8(character) + "' (" +
                        hex("U+%04X", character) + ")");
    return bytes;
}

// Removes an escape, whose backslash is removed already, from the text and returns its byte.
char take_escape(std::u32string_view &text)
{
    if (text.empty())
        throw LineError("a backslash at the end of the line");
    const char32_t letter = text.front();
    text.remove_prefix(1);
    if (letter == U'x') {
        unsigned value = 0;
        for (int digit = 0; digit < 2; ++digit, text.remove_prefix(1)) {
            const char32_t c = text.empty() ? 0 : text.front();
            if (c >= 0x80 || (VdeCharProps[c] & VdeCharHexDigit) == 0)
                throw LineError("\\x needs two hexadecimal digits");
            value = value * 16 + VdeHexAtoD[c];
        }
        if (value == 0)
            throw LineError("\\x00 would end the string");
        return static_cast<char>(value);
    }
    const std::optional<char> byte = escaped(letter);
    if (!byte)
        throw LineError("'\\" + to_utf8(letter) + "' is no escape");
    return *byte;
}

// Converts a line's text, without the spaces around it, to bytes.
std::string parse_text(std::string_view line, const Charset &charset)
{
    const std::u32string characters = from_utf8(line);
    std::u32string_view text = characters;
    std::string bytes;
    while (!text.empty()) {
        const char32_t c = text.front();
        text.remove_prefix(1);
        if ((c == U' ' || c == U'\t' || c == U'\r') &&
            (bytes.empty() || text.find_first_not_of(U" \t\r") == std::u32string_view::npos))
            continue;
        if (c == U'\\')
            bytes += take_escape(text);
        else
            bytes += encode(c, charset);
    }
    return bytes;
}

// The references in a string, found as the library finds them when it expands the string.
std::set<std::string> references_of(std::string_view text)
{
    std::set<std::string> references;
    while (true) {
        const std::size_t percent = text.find('%');
        if (percent == std::string_view::npos)
            return references;
        text.remove_prefix(percent + 1);
        const bool brace = text.starts_with('{');
        std::string_view inside = text;
        if (brace) {
            const std::size_t close = text.find('}');
            if (close == std::string_view::npos)
                throw LineError("a '%{' without its '}'");
            inside = text.substr(1, close - 1);
            text.remove_prefix(close + 1);
        }
        const char c = inside.empty() ? '\0' : inside.front();
        if (c == 'u' || (c >= '0' && c <= '9'))
            references.insert({'%', c});
        else if (brace && c != '\0')
            throw LineError("'%{" + std::string(inside) + "}' is no reference");
        else if (c == '%')
            text.remove_prefix(1);
    }
}

std::string list(const std::set<std::string> &references)
{
    std::string text;
    for (const std::string &reference : references)
        text += (text.empty() ? "" : " ") + reference;
    return text.empty() ? "nothing" : text;
}

std::string string_name(int id)
{
    return "string " + std::to_string(id);
}

// Checks one string of the first source.
void compare_string(const Source &first, int id, const Source &translation, Errors &errors)
{
    const String &string = first.strings.at(id);
    const std::string where = first.path + ':' + std::to_string(string.line);
    const auto other = translation.strings.find(id);
    if (other == translation.strings.end())
        errors.add(translation.path, std::max(translation.lines, 1),
                   string_name(id) + " is missing; it is in " + where);
    else if (string.sound && other->second.sound && other->second.references != string.references)
        errors.add(translation.path, other->second.line,
                   string_name(id) + " refers to " + list(other->second.references) + ", but to " +
                       list(string.references) + " in " + where);
}

// Removes "ID:" from a line and returns the id.
int take_id(std::string_view &line)
{
    int id = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), id);
    if (error == std::errc::invalid_argument)
        throw LineError("not of the form 'ID: text'");
    using Id = std::numeric_limits<std::int16_t>;
    if (error != std::errc() || id < Id::min() || id > Id::max())
        throw LineError("the id does not lie between " + std::to_string(Id::min()) + " and " +
                        std::to_string(Id::max()));
    line.remove_prefix(static_cast<std::size_t>(end - line.data()));
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    if (!line.starts_with(':'))
        throw LineError("not of the form 'ID: text'");
    line.remove_prefix(1);
    return id;
}

void read_line(std::string_view line, int number, const Charset &charset, Source &source)
{
    line.remove_prefix(std::min(line.find_first_not_of(" \t\r"), line.size()));
    if (line.empty() || line.starts_with('#'))
        return;
    const int id = take_id(line);
    const auto [place, is_new] = source.strings.try_emplace(id);
    String &string = place->second;
    if (!is_new)
        throw LineError(string_name(id) + " is already in line " + std::to_string(string.line));
    string.line = number;
    string.bytes = parse_text(line, charset);
    if (string.bytes.size() > max_string)
        throw LineError("the string has " + std::to_string(string.bytes.size()) + " bytes in " +
                        charset.name() + "; at most " + std::to_string(max_string) + " are read");
    string.references = references_of(string.bytes);
    string.sound = true;
}

} // namespace

void Errors::add(const std::string &path, int line, const std::string &reason)
{
    any_ = true;
    std::cerr << velt::printable(path) << ':' << line << ": " << velt::printable(reason) << '\n';
}

Source read_source(const std::string &path, const Charset &charset, Errors &errors)
{
    const std::string content = read_file(path);
    Source source{path, 0, {}};
    std::string_view rest = without_byte_order_mark(content);
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        try {
            read_line(rest.substr(0, end), ++source.lines, charset, source);
        } catch (const LineError &error) {
            errors.add(path, source.lines, error.what());
        }
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    if (source.strings.size() > max_strings)
        errors.add(path, source.lines,
                   "the file has " + std::to_string(source.strings.size()) + " strings; at most " +
                       std::to_string(max_strings) + " are read");
    return source;
}

void compare_sources(const Source &first, const Source &translation, Errors &errors)
{
    for (const auto &[id, string] : first.strings)
        compare_string(first, id, translation, errors);
    for (const auto &[id, string] : translation.strings)
        if (!first.strings.contains(id))
            errors.add(translation.path, string.line,
                       string_name(id) + " is missing in " + first.path);
}

std::string source_text(std::string_view bytes, const Charset &charset)
{
    const std::size_t first = bytes.find_first_not_of(' ');
    const std::size_t last = bytes.find_last_not_of(' ');
    std::string text;
    for (std::size_t at = 0; at < bytes.size();) {
        const auto [unit, character] = charset.decode(bytes.substr(at));
        const auto c = static_cast<unsigned char>(unit.front());
        const bool around = c == ' ' && (at < first || at > last || last == bytes.npos);
        at += unit.size();
        if (character != 0 && charset.encode(character) == unit) {
            text += to_utf8(character);
        } else if (c >= 0x20 && c < 0x7F && c != '\\' && !around) {
            text += unit;
        } else {
            const OwnedText escape(VdeQuireToDbText(std::string(unit).c_str()));
            if (!escape)
                throw std::bad_alloc();
            if (c < 0x80 && escape.get() != unit)
                text += escape.get();
            else
                for (const char byte : unit)
                    text += hex("\\x%02X", static_cast<unsigned char>(byte));
        }
    }
    return text;
}
