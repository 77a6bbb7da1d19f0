#include "host/spelling/spelling.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "host/values/status.h"
#include "velt/api/facts.h"

namespace velt::host
{
namespace
{

constexpr std::size_t most_suggestions = 10;
// Looking for what is meant by a word costs more than its length; nobody means longer ones.
constexpr std::size_t longest_meant = 64;

} // namespace

Speller::Speller(const std::string &path, IntT language) : letters_(language), affixes_(path)
{
    // The library knows more of its dictionary than the words in the file, such as those that it
    // has there only to refuse them.
    if (!affixes_ || std::filesystem::path(path).extension() != ".dic")
        list_.read(path, letters_);
}

bool Speller::knows(const std::string &word, Dictionaries more) const
{
    return list_.contains(word) ||
           std::ranges::any_of(more, [&](const auto *each) { return each->contains(word); }) ||
           (affixes_ && affixes_.contains(letters_.to_utf8(word)));
}

IntT Speller::fault(const std::string &word, Dictionaries more) const
{
    if (knows(word, more))
        return 0;
    const std::string lower = letters_.lower(word), upper = letters_.upper(word),
                      capitalised = letters_.capitalised(lower);
    const bool is_upper = word == upper, is_capitalised = word == capitalised;
    if ((is_upper || is_capitalised) && knows(lower, more))
        return 0;
    if (is_upper && knows(capitalised, more))
        return 0;
    const bool known = knows(lower, more) || knows(capitalised, more) || knows(upper, more);
    return known ? V_spelling_wrong_case : V_spelling_unknown_word;
}

std::vector<std::string> Speller::neighbours(const std::string &word) const
{
    std::vector<std::string> characters;
    for (std::string_view rest = word; !rest.empty();) {
        characters.emplace_back(letters_.first(rest).bytes);
        rest.remove_prefix(characters.back().size());
    }
    const std::size_t length = characters.size();
    std::vector<std::string> found;
    // Makes a word of the characters with those from `from` on, so many of them, replaced.
    const auto change = [&](std::size_t from, std::size_t count, const std::string &by) {
        std::string made;
        for (std::size_t i = 0; i < from; i++)
            made += characters[i];
        made += by;
        for (std::size_t i = from + count; i < length; i++)
            made += characters[i];
        found.push_back(made);
    };
    for (std::size_t i = 0; i + 1 < length; i++)
        change(i, 2, characters[i + 1] + characters[i]);
    for (std::size_t i = 0; i < length; i++)
        change(i, 1, "");
    for (const std::size_t count : {1U, 0U})
        for (std::size_t i = 0; i + count <= length; i++)
            for (const std::string &each : list_.alphabet())
                change(i, count, each);
    return found;
}

std::vector<std::string> Speller::suggestions(const std::string &word, Dictionaries more) const
{
    std::vector<std::string> made;
    if (word.size() > longest_meant)
        return made;
    const auto suggest = [&](const std::string &meant) {
        if (made.size() < most_suggestions && meant != word &&
            std::ranges::find(made, meant) == made.end())
            made.push_back(meant);
    };
    const std::string lower = letters_.lower(word);
    const bool is_upper = word == letters_.upper(word);
    const bool is_capitalised = word == letters_.capitalised(word);
    // Suggests the word in lower case, if it is known, with the capitals that this one has.
    const auto suggest_known = [&](const std::string &meant) {
        const std::string capitalised = letters_.capitalised(meant);
        const bool is_word = knows(meant, more);
        if (is_word || knows(capitalised, more))
            suggest(is_upper                     ? letters_.upper(meant)
                    : is_capitalised || !is_word ? capitalised
                                                 : meant);
    };
    suggest_known(lower);
    if (knows(letters_.upper(word), more))
        suggest(letters_.upper(word));
    if (affixes_)
        for (const std::string &each : affixes_.suggestions(letters_.to_utf8(word)))
            if (const auto meant = letters_.from_utf8(each))
                suggest(*meant);
    if (!affixes_)
        for (const std::string &each : neighbours(lower))
            suggest_known(each);
    return made;
}

const Speller &Spelling::speller()
{
    if (!speller_ && !std::exchange(told_, true))
        console_.report("no spelling is checked without a word list; start with --words FILE");
    if (!speller_)
        throw StatusError(not_supported);
    return *speller_;
}

} // namespace velt::host
