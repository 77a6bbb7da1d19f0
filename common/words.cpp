#include "common/words.h"

#include <algorithm>
#include <utility>

namespace velt
{
namespace
{

// Splits at separators outside quotes. Empty pieces count only where a separator makes them.
template <class IsSeparator>
std::vector<std::string> split(std::string_view text, IsSeparator is_separator, bool keep_blanks)
{
    std::vector<std::string> pieces;
    std::string piece;
    bool begun = false, quoted = false, escaped_outside = false;
    std::size_t quoted_to = 0;
    const auto end_piece = [&] {
        if (!begun)
            return;
        if (keep_blanks) {
            const auto last = piece.find_last_not_of(blanks);
            piece.resize(std::max(quoted_to, last == piece.npos ? 0 : last + 1));
        }
        pieces.push_back(std::exchange(piece, {}));
        begun = false;
        quoted_to = 0;
    };
    for (std::size_t i = 0; i < text.size(); i++) {
        const char c = text[i];
        if (c == '"') {
            escaped_outside = escaped_outside || (!quoted && i > 0 && text[i - 1] == '\\');
            quoted = !quoted;
            begun = true;
            quoted_to = piece.size();
        } else if (quoted && c == '\\' && i + 1 < text.size()) {
            piece += text[++i];
        } else if (!quoted && is_separator(c)) {
            begun = begun || keep_blanks;
            end_piece();
        } else if (keep_blanks && !begun && blanks.find(c) != blanks.npos) {
            continue;
        } else {
            piece += c;
            begun = true;
        }
    }
    if (quoted)
        misuse("a quote is not closed: " + std::string(text) +
               (escaped_outside ? "; outside of quotes, a backslash is a character as others are"
                                : ""));
    end_piece();
    return pieces;
}

} // namespace

std::string_view trimmed(std::string_view text)
{
    const auto first = text.find_first_not_of(blanks);
    if (first == text.npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::vector<std::string> split_words(std::string_view line)
{
    return split(
        line, [](char c) { return blanks.find(c) != blanks.npos; }, false);
}

std::vector<std::string> split_list(std::string_view text)
{
    return split(
        text, [](char c) { return c == ','; }, true);
}

std::string_view take_raw_word(std::string_view &rest)
{
    bool quoted = false;
    std::size_t end = 0;
    for (; end < rest.size() && (quoted || blanks.find(rest[end]) == blanks.npos); end++) {
        if (rest[end] == '"')
            quoted = !quoted;
        else if (quoted && rest[end] == '\\')
            end++;
    }
    end = std::min(rest.find_first_not_of(blanks, end), rest.size());
    const std::string_view word = rest.substr(0, end);
    rest.remove_prefix(end);
    return word;
}

std::string take_word(std::string_view &rest)
{
    const auto words = split_words(take_raw_word(rest));
    rest = trimmed(rest);
    return words.empty() ? std::string() : words[0];
}

bool is_option(std::string_view raw_word)
{
    return raw_word.size() > 2 && raw_word.starts_with("--");
}

namespace
{

std::string quoted(const std::string &text)
{
    std::string word = "\"";
    for (const char c : text)
        word += (c == '"' || c == '\\' ? "\\" : "") + std::string(1, c);
    return word + "\"";
}

// Returns whether the name can stand in a list as it is.
bool is_plain_entry(const std::string &name)
{
    return !name.empty() && name != "none" && name.find_first_of(",\"") == name.npos &&
           trimmed(name) == name;
}

} // namespace

std::string as_word(const std::string &text)
{
    const bool plain = !text.empty() && text.find_first_of(" \t\r\n\"") == text.npos;
    return plain ? text : quoted(text);
}

std::string as_rest(const std::string &text)
{
    bool plain = !text.starts_with('"') && whole(text) == text && !text.empty();
    for (std::string_view rest = text; !rest.empty();)
        plain = plain && !is_option(trimmed(take_raw_word(rest)));
    return plain ? text : quoted(text);
}

std::optional<std::size_t> find_by_name_or_number(const std::vector<std::string> &names,
                                                  std::string_view name)
{
    if (const auto found = std::ranges::find(names, name); found != names.end())
        return static_cast<std::size_t>(found - names.begin());
    std::size_t position = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), position);
    if (error == std::errc() && end == name.data() + name.size() && position >= 1 &&
        position <= names.size())
        return position - 1;
    return {};
}

std::string joined(const std::vector<std::string> &names)
{
    std::string text;
    for (const std::string &name : names)
        // A name alone that reads otherwise stands in quotes.
        text += (text.empty() ? "" : ", ") + (is_plain_entry(name) ? name : quoted(name));
    return text.empty() ? "none" : text;
}

bool is_whole_number(std::string_view text)
{
    const std::string_view digits = text.substr(text.starts_with('-'));
    return !digits.empty() &&
           std::ranges::all_of(digits, [](char c) { return c >= '0' && c <= '9'; });
}

std::string whole(std::string_view rest)
{
    rest = trimmed(rest);
    if (rest.starts_with('"')) {
        const auto words = split_words(rest);
        if (words.size() == 1)
            return words[0];
    }
    return std::string(rest);
}

} // namespace velt
