#include "host/spelling/affixes.h"

#ifdef VELT_HUNSPELL

#include <filesystem>
#include <new>

#include <hunspell.hxx>

#include "common/error.h"

namespace velt::host
{

struct Affixes::Library {
    Hunspell dictionary;
};

Affixes::Affixes(const std::string &list)
{
    const auto beside = [&](const char *extension) {
        return std::filesystem::path(list).replace_extension(extension);
    };
    const auto rules = beside(".aff"), words = beside(".dic");
    std::error_code unknown;
    if (!std::filesystem::exists(rules, unknown) || !std::filesystem::exists(words, unknown))
        return;
    // The library would wait for a pipe, and read a device without end.
    for (const std::filesystem::path &each : {rules, words})
        if (!std::filesystem::is_regular_file(each, unknown))
            misuse("cannot read " + each.string() + ": it is not a plain file");
    try {
        library_.reset(new Library{{rules.c_str(), words.c_str()}});
    } catch (const std::bad_alloc &) {
        fail("cannot read " + rules.string() + ": it takes more memory than there is");
    }
    if (library_->dictionary.get_dict_encoding() != "UTF-8")
        library_.reset();
}

bool Affixes::contains(const std::string &word) const
{
    return library_ && library_->dictionary.spell(word);
}

std::vector<std::string> Affixes::suggestions(const std::string &word) const
{
    return library_ ? library_->dictionary.suggest(word) : std::vector<std::string>();
}

#else

namespace velt::host
{

struct Affixes::Library {
};

Affixes::Affixes(const std::string &) {}

bool Affixes::contains(const std::string &) const
{
    return false;
}

std::vector<std::string> Affixes::suggestions(const std::string &) const
{
    return {};
}

#endif

Affixes::~Affixes() = default;

} // namespace velt::host
