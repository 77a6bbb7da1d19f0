#include "host/files/known_file.h"

#include <new>
#include <system_error>

#include "common/replace_file.h"

namespace velt::host
{
namespace
{

std::filesystem::path resolved(const std::string &path)
{
    std::error_code unknown;
    auto place = std::filesystem::weakly_canonical(path, unknown);
    if (unknown == std::errc::not_enough_memory)
        throw std::bad_alloc();
    return unknown ? std::filesystem::path(path) : place;
}

} // namespace

bool KnownFile::is(const std::string &path) const
{
    std::error_code unknown;
    return !path_.empty() && (path == path_ || std::filesystem::equivalent(path, path_, unknown) ||
                              resolved(path) == place(path_));
}

std::filesystem::path KnownFile::place(const std::string &path) const
{
    const auto place = known_.places.find(path);
    return place == known_.places.end() ? resolved(path) : place->second;
}

KnownFile::Contents KnownFile::contents(const std::string &path, std::string_view text)
{
    Contents made;
    made.texts.emplace(made.places.emplace(path, resolved(path)).first->second, digest_of(text));
    return made;
}

void KnownFile::remember(Contents contents) noexcept
{
    contents.texts.merge(known_.texts);
    contents.places.merge(known_.places);
    known_ = std::move(contents);
}

// An editor may write a file anew without changing it, so this compares the texts. A link that now
// leads to another file counts as a change as well.
void KnownFile::check_unchanged(const std::string &path) const
{
    std::error_code unknown;
    if (!std::filesystem::exists(path, unknown) && !unknown)
        return;
    const auto known = known_.texts.find(place(path));
    if (known == known_.texts.end())
        throw ChangedError(path + " is there already");
    if (!holds(path, known->second))
        throw ChangedError(path +
                           ": somebody else has changed it since it was read or written here");
}

bool KnownFile::write(const std::string &path, std::string_view text, bool force, mode_t mode)
{
    const bool own = path_.empty() || is(path);
    NewFile file(path, NewFile::Others::refused, mode);
    file.write(text);
    file.finish();
    if (!force)
        check_unchanged(path);
    // What the new file changes here is ready before it takes its place, so that nothing fails
    // afterwards.
    Contents written = contents(path, text);
    std::string own_path = path_.empty() ? path : path_;
    file.commit();
    remember(std::move(written));
    path_ = std::move(own_path);
    return own;
}

} // namespace velt::host
