// Words with their endings, and what somebody may have meant, by the library hunspell if the host
// has been built with it.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace velt::host
{

class Affixes
{
public:
    // Loads the dictionary beside the word list, the files of its name with .aff and .dic, if there
    // are both, in UTF-8. Throws Error when they cannot be read.
    explicit Affixes(const std::string &list);
    Affixes(const Affixes &) = delete;
    Affixes &operator=(const Affixes &) = delete;
    ~Affixes();

    // Returns whether there is a dictionary.
    explicit operator bool() const { return library_ != nullptr; }
    // The words are in UTF-8; without a dictionary there are none.
    bool contains(const std::string &word) const;
    std::vector<std::string> suggestions(const std::string &word) const;

private:
    struct Library;
    std::unique_ptr<Library> library_;
};

} // namespace velt::host
