#include "host/model/find.h"

#include <limits>

#include "host/model/chains.h"

namespace velt::host::texts
{
namespace
{

using Index = std::ptrdiff_t;
constexpr Index no_limit = std::numeric_limits<Index>::max();

// Searches one paragraph by the algorithm of Knuth, Morris and Pratt: the number of matches that do
// not count, because they split a character or a word, does not change what it costs.
class Search
{
public:
    Search(const Characters &characters, const FindOptions &options)
        : characters_(characters), options_(options),
          wanted_(options.match_case ? options.text : characters.folded(options.text)),
          borders_(wanted_.size())
    {
        for (std::size_t i = 1, matched = 0; i < wanted_.size(); i++)
            borders_[i] = matched = step(matched, wanted_[i]);
    }

    // Returns where the match that counts begins: the first or, backwards, the last one that begins
    // at a byte from `low` to `high`; -1 when there is none.
    Index match(std::string_view text, Index low, Index high) const;
    std::size_t size() const { return wanted_.size(); }

private:
    // Returns how much of the text is matched after another byte, which is no whole match.
    std::size_t step(std::size_t matched, char byte) const
    {
        while (matched > 0 && wanted_[matched] != byte)
            matched = borders_[matched - 1];
        return matched + (wanted_[matched] == byte);
    }

    const Characters &characters_;
    const FindOptions &options_;
    std::string wanted_;
    std::vector<std::size_t> borders_; // for each prefix, the length of its longest proper border
};

// Follows the characters of a text up to one place after the other.
class Walk
{
public:
    Walk(const Characters &characters, std::string_view text) : characters_(characters), text_(text)
    {
    }

    // Returns whether a character begins at the byte.
    bool to(std::size_t byte)
    {
        if (characters_.single()) {
            before_ = byte - 1;
            return true;
        }
        while (byte_ < byte) {
            before_ = byte_;
            byte_ += characters_.size_at(text_, byte_);
        }
        return byte_ == byte;
    }
    // Returns whether the bytes up to the end are no part of a larger word.
    bool is_word(std::size_t begin, std::size_t end) const
    {
        return (begin == 0 || !characters_.is_of_word(text_, before_)) &&
               (end == text_.size() || !characters_.is_of_word(text_, end));
    }

private:
    const Characters &characters_;
    std::string_view text_;
    std::size_t byte_ = 0, before_ = 0; // the last place, and the character before it
};

// Gives the bytes of a text in lower case, one after the other, so that no more of a text is looked
// at than it takes.
class Folding
{
public:
    Folding(const Characters &characters, std::string_view text)
        : characters_(characters), text_(text)
    {
    }

    // The bytes asked for ascend.
    char at(std::size_t byte)
    {
        while (!characters_.single() && end_ <= byte) {
            size_ = characters_.size_at(text_, end_);
            end_ += size_;
        }
        return size_ == 1 ? characters_.folded(text_[byte]) : text_[byte];
    }

private:
    const Characters &characters_;
    std::string_view text_;
    std::size_t size_ = 1, end_ = 0; // of the character that the byte is of
};

Index Search::match(std::string_view text, Index low, Index high) const
{
    if (low > high || text.size() < size())
        return -1;
    Walk walk(characters_, text);
    Folding folding(characters_, text);
    Index found = -1;
    std::size_t matched = 0;
    for (auto i = static_cast<std::size_t>(low); i < text.size(); i++) {
        if (matched == 0 && options_.match_case) {
            i = text.find(wanted_[0], i);
            if (i == text.npos)
                break;
        }
        matched = step(matched, options_.match_case ? text[i] : folding.at(i));
        if (matched < size())
            continue;
        matched = borders_.back();
        const std::size_t begin = i + 1 - size();
        if (static_cast<Index>(begin) > high)
            break;
        if (!walk.to(begin) || (options_.whole_words && !walk.is_word(begin, i + 1)))
            continue;
        found = static_cast<Index>(begin);
        if (!options_.backwards)
            break;
    }
    return found;
}

UIntT neighbour(const Object &of, bool backwards)
{
    return backwards ? of.previous : of.next;
}

UIntT end_of(const Object &container, bool backwards)
{
    return backwards ? container.last : container.first;
}

// Returns the paragraph from which a search through the document goes on, or 0.
UIntT following(const Objects &objects, UIntT paragraph, bool backwards)
{
    const Object &from = objects.at(paragraph);
    if (const UIntT next = neighbour(from, backwards))
        return next;
    const UIntT flow = neighbour(objects.at(from.parent), backwards);
    return flow == 0 ? 0 : end_of(objects.at(flow), backwards);
}

} // namespace

V_TextRangeT find(const Objects &objects, UIntT doc, const V_TextLocT &start,
                  const FindOptions &options)
{
    const Place from = place_at(objects, doc, start);
    const Characters &characters = objects.characters;
    check(!options.text.empty() && characters.whole(options.text), bad_value);
    const Search search(characters, options);
    const auto here = static_cast<Index>(from.byte);
    const auto size = static_cast<Index>(search.size());
    const auto found_in = [&](UIntT id, Index low, Index high) -> std::optional<V_TextRangeT> {
        const std::string_view text = objects.at(id).text;
        const Index match = search.match(text, low, high);
        if (match < 0)
            return {};
        const IntT offset = characters.count(text.substr(0, static_cast<std::size_t>(match)));
        return V_TextRangeT{{id, offset}, {id, offset + characters.count(options.text)}};
    };
    const bool back = options.backwards;
    UIntT id = from.paragraph;
    auto found = back ? found_in(id, 0, here - size) : found_in(id, here, no_limit);
    bool wrapped = false;
    while (!found) {
        id = following(objects, id, back);
        if (id == 0) {
            check(options.wrap, not_found);
            wrapped = true;
            id = end_of(objects.at(end_of(objects.at(doc), back)), back);
        }
        if (wrapped && id == from.paragraph) {
            found = back ? found_in(id, std::max<Index>(here - size + 1, 0), no_limit)
                         : found_in(id, 0, here - 1);
            check(found.has_value(), not_found);
        } else {
            found = found_in(id, 0, no_limit);
        }
    }
    return *found;
}

} // namespace velt::host::texts
