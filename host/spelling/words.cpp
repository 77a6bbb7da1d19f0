#include "host/spelling/words.h"

#include <algorithm>
#include <stdexcept>

#include "common/charset.h"
#include "common/error.h"
#include "common/file.h"
#include "common/words.h"

namespace velt::host
{
namespace
{

constexpr std::size_t longest_line = 1024;

// Takes a line, without its end, from the text.
std::string_view take_line(std::string_view &text)
{
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    return trimmed(line);
}

} // namespace

WordReader::WordReader(const Letters &letters, std::string_view text, std::string_view separators,
                       IntT from)
    : letters_(letters), rest_(text)
{
    while (!separators.empty()) {
        const auto [bytes, kind] = letters.first(separators);
        if (kind != Letters::other)
            separators_.emplace(bytes);
        separators.remove_prefix(bytes.size());
    }
    // Where characters have one byte, it is a step to the place and back to where its word begins;
    // elsewhere the words before are read.
    if (!letters.single())
        return;
    const auto at = [&](std::size_t byte) { return rest_ = text.substr(byte), first().kind; };
    const auto parts = [&](std::size_t byte) { // as two apostrophes do
        return at(byte) == Letters::other ||
               (byte > 0 && at(byte) == Letters::apostrophe && at(byte - 1) == Letters::apostrophe);
    };
    auto byte = std::min(static_cast<std::size_t>(from), text.size());
    while (byte > 0 && !parts(byte - 1))
        byte--;
    rest_ = text.substr(byte);
    offset_ = static_cast<IntT>(byte);
}

// Returns the first character of the rest; one of the separators belongs to no word.
Letters::Character WordReader::first() const
{
    auto character = letters_.first(rest_);
    if (character.kind != Letters::other && separators_.contains(character.bytes))
        character.kind = Letters::other;
    return character;
}

std::optional<Word> WordReader::next()
{
    Word word;
    std::string link; // an apostrophe that belongs to the word if a letter follows
    for (; !rest_.empty(); offset_++) {
        const auto [bytes, kind] = first();
        const bool begun = !word.spelling.empty();
        if (kind == Letters::letter || kind == Letters::digit) {
            if (!begun)
                word.begin = offset_;
            word.spelling.append(link).append(bytes);
            link.clear();
            word.has_digits |= kind == Letters::digit;
            word.end = offset_ + 1;
        } else if (begun && kind == Letters::apostrophe && link.empty()) {
            link = "'";
        } else if (begun && kind != Letters::hidden) {
            break;
        }
        rest_.remove_prefix(bytes.size());
    }
    if (word.spelling.empty())
        return std::nullopt;
    return word;
}

// An entry of several words, such as one with a hyphen, makes each of them known.
void WordList::add(std::string_view line, const Letters &letters)
{
    const auto entry = letters.from_utf8(line);
    if (!entry)
        return;
    WordReader reader(letters, *entry, {});
    while (const auto word = reader.next()) {
        const std::size_t at = text_.size();
        text_ += word->spelling;
        words_.push_back(std::string_view(text_).substr(at));
        const std::string lower = letters.lower(word->spelling);
        for (std::string_view rest = lower; !rest.empty();) {
            const std::string_view bytes = letters.first(rest).bytes;
            if (!alphabet_.contains(bytes))
                alphabet_.emplace(bytes);
            rest.remove_prefix(bytes.size());
        }
    }
}

void WordList::read(const std::string &path, const Letters &letters)
{
    std::string content;
    try {
        content = read_plain_file(path);
    } catch (const std::runtime_error &error) {
        misuse(std::string("cannot read the word list ") + error.what());
    }
    std::string_view rest = without_byte_order_mark(content);
    text_.reserve(rest.size()); // the views stay valid, since no encoding takes more bytes
    bool of_hunspell = false;
    for (int number = 1; !rest.empty(); number++) {
        std::string_view line = take_line(rest);
        const auto check = [&](bool holds, const char *what) {
            if (!holds)
                misuse(path + ":" + std::to_string(number) + ": " + what);
        };
        check(line.size() <= longest_line,
              "longer than any word; a word list is a text with a word a line");
        if (number == 1 && is_whole_number(line)) {
            of_hunspell = true;
            continue;
        }
        if (of_hunspell)
            line = line.substr(0, line.find_first_of("/ \t"));
        try {
            add(line, letters);
        } catch (const std::runtime_error &) {
            check(false, "not UTF-8; iconv(1) converts a word list");
        }
    }
    if (words_.empty())
        misuse(path + ": has no word in the encoding of the session's language");
    std::ranges::sort(words_);
    words_.erase(std::unique(words_.begin(), words_.end()), words_.end());
}

bool WordList::contains(std::string_view word) const
{
    return std::ranges::binary_search(words_, word);
}

} // namespace velt::host
