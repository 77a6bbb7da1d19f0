// The file of a book.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "common/descriptor.h"
#include "common/replace_file.h"
#include "host/files/book.h"

namespace velt::host
{
namespace
{

// Reads as many bytes as the file's size says and no more, so that a file without end does not fill
// the memory. Throws std::runtime_error with the reason.
std::string read_plain_file(const std::string &path)
{
    const auto check = [](bool holds) {
        if (!holds)
            throw std::runtime_error(std::generic_category().message(errno));
    };
    // O_NONBLOCK keeps open() from waiting for a writer when the path is a pipe.
    const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    check(bool(file));
    struct stat status {
    };
    check(fstat(file.get(), &status) == 0);
    if (!S_ISREG(status.st_mode))
        throw std::runtime_error("it is not a plain file");
    std::string text(static_cast<std::size_t>(status.st_size) + 1, '\0');
    std::size_t length = 0;
    while (length < text.size()) {
        const ssize_t got = read(file.get(), text.data() + length, text.size() - length);
        check(got >= 0 || errno == EINTR);
        if (got == 0)
            break;
        length += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    }
    if (length == text.size())
        throw std::runtime_error("it grows while it is read, or has no size");
    text.resize(length);
    return text;
}

std::filesystem::path resolved(const std::string &path)
{
    std::error_code unknown;
    auto place = std::filesystem::weakly_canonical(path, unknown);
    return unknown ? std::filesystem::path(path) : place;
}

} // namespace

UIntT BookFile::load(Model &model, IntT language)
{
    std::string text;
    try {
        text = read_plain_file(path_);
    } catch (const std::runtime_error &error) {
        misuse(path_ + ": cannot read the book: " + error.what());
    }
    const UIntT book = read_book(text, path_, model, language);
    remember(path_, std::move(text));
    return book;
}

std::string BookFile::text() const
{
    const auto known = known_.find(place(path_));
    return known == known_.end() ? std::string() : known->second;
}

std::filesystem::path BookFile::place(const std::string &path) const
{
    const auto place = places_.find(path);
    return place == places_.end() ? resolved(path) : place->second;
}

void BookFile::remember(const std::string &path, std::string text)
{
    const auto &place = places_[path] = resolved(path);
    known_[place] = std::move(text);
}

// An editor may write a file anew without changing it, so this compares the texts. A link that now
// leads to another file counts as a change as well.
void BookFile::check_unchanged(const std::string &path) const
{
    const auto known = known_.find(place(path));
    std::error_code unknown;
    if (known == known_.end() || (!std::filesystem::exists(path, unknown) && !unknown))
        return;
    if (read_plain_file(path) != known->second)
        throw std::runtime_error(path + ": somebody else has changed it since it was read or "
                                        "written here; save --force replaces it");
}

void BookFile::save(const Model &model, UIntT book, bool force)
{
    save_as(path_, model, book, force);
}

bool BookFile::save_as(const std::string &path, const Model &model, UIntT book, bool force)
try {
    std::error_code unknown;
    const bool own = path == path_ || std::filesystem::equivalent(path, path_, unknown);
    std::string text = write_book(model, book);
    NewFile file(path);
    file.write(text);
    file.finish();
    if (!force)
        check_unchanged(path);
    file.commit();
    remember(path, std::move(text));
    return own;
} catch (const std::runtime_error &error) {
    fail(std::string("cannot save the book: ") + error.what());
}

} // namespace velt::host
