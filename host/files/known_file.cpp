#include "host/files/known_file.h"

#include <new>
#include <system_error>

#include "common/file.h"
#include "common/replace_file.h"

namespace velt::host
{
namespace
{

std::filesystem::path resolved(const std::string &path)
{
    std::error_code unknown;
    auto place = std::filesystem::weakly_canonical(path, unknown);
    return unknown ? std::filesystem::path(path) : place;
}

} // namespace

bool KnownFile::is(const std::string &path) const
{
    std::error_code unknown;
    return !path_.empty() && (path == path_ || std::filesystem::equivalent(path, path_, unknown) ||
                              resolved(path) == place(path_));
}

std::string KnownFile::text() const
{
    const auto known = known_.find(place(path_));
    return known == known_.end() ? std::string() : known->second;
}

std::filesystem::path KnownFile::place(const std::string &path) const
{
    const auto place = places_.find(path);
    return place == places_.end() ? resolved(path) : place->second;
}

void KnownFile::remember(const std::string &path, std::string text)
{
    const auto &place = places_[path] = resolved(path);
    known_[place] = std::move(text);
}

// An editor may write a file anew without changing it, so this compares the texts. A link that now
// leads to another file counts as a change as well.
void KnownFile::check_unchanged(const std::string &path) const
{
    std::error_code unknown;
    if (!std::filesystem::exists(path, unknown) && !unknown)
        return;
    const auto known = known_.find(place(path));
    if (known == known_.end())
        throw ChangedError(path + " is there already");
    if (read_plain_file(path) != known->second)
        throw ChangedError(path +
                           ": somebody else has changed it since it was read or written here");
}

bool KnownFile::write(const std::string &path, std::string text, bool force, mode_t mode)
{
    const bool own = path_.empty() || is(path);
    NewFile file(path, NewFile::Others::refused, mode);
    file.write(text);
    file.finish();
    if (!force)
        check_unchanged(path);
    file.commit();
    remember(path, std::move(text));
    if (path_.empty())
        path_ = path;
    return own;
}

} // namespace velt::host
