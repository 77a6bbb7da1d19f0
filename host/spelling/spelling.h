// Tells whether words are spelt right, and what may be meant by those that are not.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "host/console/console.h"
#include "host/spelling/affixes.h"
#include "host/spelling/words.h"

namespace velt::host
{

// Words that are right as well, in the session's encoding.
using Dictionary = std::set<std::string, std::less<>>;
using Dictionaries = std::span<const Dictionary *const>;

class Speller
{
public:
    // Reads the word list and what stands beside it. Throws Error when it cannot.
    Speller(const std::string &path, IntT language);

    const Letters &letters() const { return letters_; }

    // Returns a fault of spelling.def, or 0 when the word is right: as it stands or, if it begins
    // with a capital or has only capitals, with fewer of them.
    IntT fault(const std::string &word, Dictionaries more) const;
    // Returns what may be meant by a wrong word, the likeliest first, at most 10.
    std::vector<std::string> suggestions(const std::string &word, Dictionaries more) const;

private:
    bool knows(const std::string &word, Dictionaries more) const;
    // Returns the words that are one mistake away from the word, known or not.
    std::vector<std::string> neighbours(const std::string &word) const;

    Letters letters_;
    Affixes affixes_;
    WordList list_;
};

class Spelling
{
public:
    explicit Spelling(Console &console) : console_(console) {}

    // Has spelling checked by the word list. Throws Error when it cannot be read.
    void read(const std::string &path, IntT language)
    {
        speller_ = std::make_unique<Speller>(path, language);
    }
    // Refuses as not supported in a session without a word list, and tells the person once how to
    // have one.
    const Speller &speller();

    // Returns the word as the speller looks for it.
    std::string spelt(const std::string &word) const
    {
        return speller_ ? speller_->letters().spelt(word) : word;
    }
    // Returns the document's dictionary or, for 0, that of the session.
    Dictionary &dictionary(UIntT document) { return dictionaries_[document]; }
    // Forgets the dictionary of a document.
    void forget(UIntT document) { dictionaries_.erase(document); }

private:
    Console &console_;
    std::unique_ptr<Speller> speller_;
    std::map<UIntT, Dictionary> dictionaries_;
    bool told_ = false;
};

} // namespace velt::host
