#include "host/files/known_file.h"

#include <new>
#include <optional>
#include <system_error>

#include "common/replace_file.h"

namespace velt::host
{
namespace
{

std::filesystem::path resolved(const std::string &path)
{
    std::error_code unknown;
    // Of a relative path, of which nothing is there, it would make no absolute one.
    auto place = std::filesystem::absolute(path, unknown);
    if (!unknown)
        place = std::filesystem::weakly_canonical(place, unknown);
    if (unknown == std::errc::not_enough_memory)
        throw std::bad_alloc();
    return unknown ? std::filesystem::path(path) : place;
}

} // namespace

const std::string *KeptFiles::find(const std::string &path) const
{
    const auto file = all_.find(resolved(path));
    return file == all_.end() ? nullptr : &file->second;
}

KeptFiles::Written KeptFiles::write(const std::string &path, std::string_view text) const
{
    std::filesystem::path place = resolved(path);
    std::error_code unknown;
    if (std::filesystem::is_directory(place, unknown))
        fail(path + ": is a folder");
    if (!std::filesystem::is_directory(place.parent_path(), unknown))
        fail(path + ": there is no such folder");
    Written written;
    written.emplace(std::move(place), text);
    return written;
}

void KeptFiles::commit(Written written) noexcept
{
    written.merge(all_);
    all_ = std::move(written);
}

std::string read_kept_file(const KeptFiles *kept, const std::string &path)
{
    const std::string *text = kept ? kept->find(path) : nullptr;
    return text ? *text : read_plain_file(path);
}

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
void KnownFile::check_unchanged(const std::string &path, const KeptFiles *kept) const
{
    const std::string *text = kept ? kept->find(path) : nullptr;
    std::error_code unknown;
    if (!text && !std::filesystem::exists(path, unknown) && !unknown)
        return;
    const auto known = known_.texts.find(place(path));
    if (known == known_.texts.end())
        throw ChangedError(path + " is there already");
    if (text ? digest_of(*text) != known->second : !holds(path, known->second))
        throw ChangedError(path +
                           ": somebody else has changed it since it was read or written here");
}

bool KnownFile::still_holds(const std::string &path) const
{
    const auto known = known_.texts.find(place(path));
    return known != known_.texts.end() && holds(path, known->second);
}

std::string SavedCopy::path_of(std::string_view now, const KnownFile &file) const
{
    return !path.empty() && saved == digest_of(now) && file.still_holds(path) ? path : "";
}

bool KnownFile::write(const std::string &path, std::string_view text, bool force, mode_t mode,
                      KeptFiles *kept)
{
    const bool own = path_.empty() || is(path);
    std::optional<NewFile> file;
    KeptFiles::Written in_memory;
    if (kept) {
        in_memory = kept->write(path, text);
    } else {
        file.emplace(path, NewFile::Others::refused, mode);
        file->write(text);
        file->finish();
    }
    if (!force)
        check_unchanged(path, kept);
    // What the new file changes here is ready before it takes its place, so that nothing fails
    // afterwards.
    Contents written = contents(path, text);
    std::string own_path = path_.empty() ? path : path_;
    if (kept)
        kept->commit(std::move(in_memory));
    else
        file->commit();
    remember(std::move(written));
    path_ = std::move(own_path);
    return own;
}

} // namespace velt::host
