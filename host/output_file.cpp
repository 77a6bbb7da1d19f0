#include "host/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace velt::host
{
namespace
{

bool same_plain_file(const struct stat &one, const struct stat &other)
{
    return S_ISREG(one.st_mode) && one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

[[noreturn]] void fail(const std::string &path)
{
    throw std::system_error(errno, std::generic_category(), path + ": cannot be written");
}

} // namespace

OutputFile::OutputFile(const std::string &path)
    : path_(path),
      file_(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC,
                 0666))
{
    if (!file_ && errno == ENXIO)
        throw std::system_error(errno, std::generic_category(),
                                path + ": cannot be written: nobody reads from it");
    // Nobody is waited for who may yet read from a pipe, but what one reads is written whole.
    if (!file_ || fcntl(file_.get(), F_SETFL, O_APPEND) != 0)
        fail(path);
}

bool OutputFile::is(int descriptor) const
{
    struct stat here {
    }, there{};
    return fstat(file_.get(), &here) == 0 && fstat(descriptor, &there) == 0 &&
           same_plain_file(here, there);
}

bool OutputFile::is(const std::string &path) const
{
    struct stat here {
    }, there{};
    return fstat(file_.get(), &here) == 0 && stat(path.c_str(), &there) == 0 &&
           same_plain_file(here, there);
}

void OutputFile::begin()
{
    for (const int standard : {STDOUT_FILENO, STDERR_FILENO}) {
        if (!is(standard))
            continue;
        file_ = Descriptor(fcntl(standard, F_DUPFD_CLOEXEC, 0));
        if (!file_)
            fail(path_);
        return;
    }
    struct stat file {
    };
    if (fstat(file_.get(), &file) != 0 || (S_ISREG(file.st_mode) && ftruncate(file_.get(), 0) != 0))
        fail(path_);
}

void OutputFile::write(std::string_view text)
{
    if (!write_whole(file_.get(), text))
        fail(path_);
}

bool write_whole(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written >= 0)
            text.remove_prefix(static_cast<std::size_t>(written));
        else if (errno != EINTR)
            return false;
    }
    return true;
}

} // namespace velt::host
