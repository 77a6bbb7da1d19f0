#include "host/spelling/affixes.h"

#ifdef VELT_HUNSPELL

#include <filesystem>
#include <hunspell.hxx>

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
    library_.reset(new Library{{rules.c_str(), words.c_str()}});
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
