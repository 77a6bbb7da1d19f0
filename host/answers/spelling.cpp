#include <algorithm>
#include <array>

#include "host/answers/options.h"

namespace velt::host
{
namespace
{

// Returns the characters that end a word by the options.
std::string separators(const V_PropValsT &given)
{
    const OptionList options(OptionList::Spell, given);
    std::string all;
#define V_SPELLING_OPTION(number, name, meaning) all += options.text(number);
#include "velt/tables/spelling.def"
    return all;
}

Spelling &spelling_of(const Context &c)
{
    check(c.spelling != nullptr, not_supported);
    return *c.spelling;
}

// Returns the paragraph that follows in the document, or null.
const Object *next_paragraph(const Model &model, const Object &paragraph)
{
    if (paragraph.next != 0)
        return &model.at(paragraph.next);
    const UIntT flow = model.at(paragraph.parent).next;
    return flow != 0 ? &model.at(model.at(flow).first) : nullptr;
}

struct Mistake {
    UIntT paragraph;
    Word word;
    IntT fault;
};

// Returns the first wrong word of the paragraph that begins at the offset or after it, if there is
// one. Numbers and words with digits in them are never wrong.
std::optional<Mistake> find_mistake(const Speller &speller, const Object &paragraph, IntT offset,
                                    std::string_view separators, Dictionaries more)
{
    WordReader words(speller.letters(), paragraph.text, separators, offset);
    while (const auto word = words.next())
        if (word->begin >= offset && !word->has_digits)
            if (const IntT fault = speller.fault(word->spelling, more))
                return Mistake{paragraph.id, *word, fault};
    return std::nullopt;
}

Mistake find_mistake(const Context &c, const Speller &speller, const ApiVqSpellArgT &a,
                     Dictionaries more)
{
    const Object *paragraph = &c.model.object(a.docId, a.textLoc.objId);
    check(paragraph->type == object_type::paragraph, wrong_kind);
    IntT offset = a.textLoc.offset;
    check(offset >= 0 && offset <= speller.letters().count(paragraph->text), no_such_place);
    const std::string ends = separators(a.params);
    for (; paragraph; paragraph = next_paragraph(c.model, *paragraph), offset = 0)
        if (const auto mistake = find_mistake(speller, *paragraph, offset, ends, more))
            return *mistake;
    throw StatusError(not_found);
}

// Carries out the operation on the dictionary of the document or, for 0, of the session. Returns
// what it reads out.
std::vector<std::string> operate(const Context &c, UIntT document, IntT operation,
                                 const std::string &given)
{
    if (document != 0)
        c.model.check_is_document(document);
    Dictionary &dictionary = spelling_of(c).dictionary(document);
    const std::string word = spelling_of(c).spelt(given);
    switch (operation) {
    case V_dictionary_read_out:
        return {dictionary.begin(), dictionary.end()};
    case V_dictionary_add:
        check(!word.empty(), bad_value);
        dictionary.insert(word);
        break;
    case V_dictionary_remove:
        check(dictionary.erase(word) != 0, not_found);
        break;
    case V_dictionary_contains:
        check(dictionary.contains(word), not_found);
        break;
    case V_dictionary_clear:
        dictionary.clear();
        break;
    default:
        throw StatusError(bad_value);
    }
    return {};
}

void give(V_StringsT &list, const std::vector<std::string> &all)
{
    list = owned_list<V_StringsT>(all.size());
    std::ranges::transform(all, list.val, owned_string);
}

} // namespace

void Answer<api_vq_spell_1>::answer(Context &c, const ApiVqSpellArgT &a, ApiVqSpellRetT &r)
{
    r.status = status_of([&] {
        Spelling &spelling = spelling_of(c);
        const Speller &speller = spelling.speller();
        c.model.check_is_document(a.docId);
        const std::array<const Dictionary *, 2> more = {&spelling.dictionary(0),
                                                        &spelling.dictionary(a.docId)};
        const Mistake found = find_mistake(c, speller, a, more);
        give(r.strings4, speller.suggestions(found.word.spelling, more));
        r.int3 = found.fault;
        r.textRange = {{found.paragraph, found.word.begin}, {found.paragraph, found.word.end}};
    });
}

// The first integer of this call and the next has no meaning here.
void Answer<api_vq_dictionary_1>::answer(Context &c, const ApiVqDictionaryArgT &a,
                                         ApiVqDictionaryRetT &r)
{
    r.status = status_of([&] { give(r.strings, operate(c, a.id1, a.int4, text(a.str2))); });
}

void Answer<api_vq_modifydictionary_1>::answer(Context &c, const ApiVqModifyDictionaryArgT &a,
                                               ApiVqModifyDictionaryRetT &r)
{
    r.status = status_of([&] { operate(c, a.id1, a.int3, text(a.str4)); });
}

void Answer<api_vq_resetspelling_1>::answer(Context &c, const ApiVqResetSpellingArgT &a,
                                            ApiVqResetSpellingRetT &r)
{
    r.status = status_of([&] {
        c.model.check_is_document(a.docId);
        spelling_of(c).forget(a.docId);
    });
}

} // namespace velt::host
