#include "common/output_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "common/error.h"
#include "common/interrupts.h"

namespace velt
{
namespace
{

bool same(const struct stat &one, const struct stat &other)
{
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

[[noreturn]] void fail_to_write(const std::string &path, const char *why = "")
{
    throw std::system_error(errno, std::generic_category(), path + ": cannot be written" + why);
}

// Returns whether a write may have to wait, as one to a pipe or terminal.
bool may_wait(int descriptor)
{
    struct stat here {
    };
    return fstat(descriptor, &here) == 0 && !S_ISREG(here.st_mode);
}

// Where a write may wait, the text goes in pieces for which poll() has promised room, so that no
// write blocks and a signal is noticed between the pieces.
bool write_pieces(int descriptor, std::string_view text, bool waits)
{
    while (!text.empty()) {
        pollfd output{descriptor, POLLOUT, 0};
        if (waits && poll(&output, 1, interrupt_interval) <= 0) {
            if (interrupts.signal == 0)
                continue;
            errno = EINTR;
            return false;
        }
        const std::size_t most = waits ? PIPE_BUF : text.size();
        const ssize_t written = ::write(descriptor, text.data(), std::min(text.size(), most));
        if (written >= 0)
            text.remove_prefix(static_cast<std::size_t>(written));
        else if (errno != EINTR && errno != EAGAIN)
            return false;
    }
    return true;
}

// Returns the standard descriptor that a path names, or -1.
int standard_descriptor(const std::string &path)
{
    for (const auto &[name, descriptor] : {std::pair("out", STDOUT_FILENO), {"err", STDERR_FILENO}})
        if ((path == "-" && descriptor == STDOUT_FILENO) ||
            path == std::string("/dev/std") + name ||
            path == "/dev/fd/" + std::to_string(descriptor) ||
            path == "/proc/self/fd/" + std::to_string(descriptor))
            return descriptor;
    return -1;
}

} // namespace

OutputFile::OutputFile(const std::string &path)
    : path_(path == "-" ? "the standard output" : path), standard_(standard_descriptor(path))
{
    if (standard_ >= 0) {
        file_ = Descriptor(fcntl(standard_, F_DUPFD_CLOEXEC, 0));
        if (!file_)
            fail_to_write(path_);
        waits_ = may_wait(standard_);
        return;
    }
    constexpr int flags = O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    struct stat there {
    };
    made_ = stat(path.c_str(), &there) != 0 && errno == ENOENT;
    file_ = Descriptor(open(path.c_str(), flags, 0666));
    if (!file_ && errno == ENXIO && stat(path.c_str(), &there) == 0 && S_ISFIFO(there.st_mode)) {
        errno = ENXIO;
        fail_to_write(path, ": nobody reads from it");
    }
    // O_NONBLOCK only keeps open() from waiting for a reader of a pipe; writes are to block.
    if (!file_ || fcntl(file_.get(), F_SETFL, O_APPEND) != 0)
        fail_to_write(path);
    waits_ = may_wait(file_.get());
}

OutputFile::~OutputFile()
{
    // Another that has opened it meanwhile has it locked, or will find that it is gone.
    std::array<char, PATH_MAX> where;
    if (file_ && made_ && !kept_ && lock() && !has_content() &&
        realpath(path_.c_str(), where.data()))
        unlink(where.data());
}

bool OutputFile::is(const std::string &path) const
{
    struct stat here {
    }, there{};
    return fstat(file_.get(), &here) == 0 && S_ISREG(here.st_mode) &&
           stat(path.c_str(), &there) == 0 && same(here, there);
}

bool OutputFile::is(const OutputFile &other) const
{
    struct stat here {
    }, there{};
    return fstat(file_.get(), &here) == 0 && S_ISREG(here.st_mode) &&
           fstat(other.file_.get(), &there) == 0 && same(here, there);
}

bool OutputFile::is_read_from(int descriptor) const
{
    struct stat here {
    }, there{};
    return fstat(file_.get(), &here) == 0 && (S_ISREG(here.st_mode) || S_ISFIFO(here.st_mode)) &&
           fstat(descriptor, &there) == 0 && same(here, there);
}

// A file system that knows no locks locks nobody out.
bool OutputFile::lock()
{
    if (!plain_file() || flock(file_.get(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK)
        return !has_lost_place();
    made_ = false; // it is the other's now
    return false;
}

bool OutputFile::has_content() const
{
    const std::optional<struct stat> here = plain_file();
    return here && here->st_size > 0;
}

bool OutputFile::is_standard(int descriptor) const
{
    if (standard_ >= 0)
        return standard_ == descriptor;
    const std::optional<struct stat> here = plain_file();
    struct stat there {
    };
    return here && fstat(descriptor, &there) == 0 && same(*here, there);
}

void OutputFile::need_kind(const std::string &kind,
                           std::span<const std::string_view> beginnings) const
{
    if (!has_content() || is_standard(STDOUT_FILENO) || is_standard(STDERR_FILENO))
        return;
    const Descriptor in(open(path_.c_str(), O_RDONLY | O_CLOEXEC));
    std::array<char, 64> bytes;
    const ssize_t got = in ? read(in.get(), bytes.data(), bytes.size()) : 0;
    const std::string_view content(bytes.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
    if (std::ranges::none_of(beginnings,
                             [&](std::string_view each) { return content.starts_with(each); }))
        misuse(path_ + ": this is no " + kind + "; a " + kind +
               " takes the place of no other file: name another one, or remove it");
}

void OutputFile::begin()
{
    kept_ = true;
    struct stat here {
    };
    if (fstat(file_.get(), &here) != 0)
        fail_to_write(path_);
    if (standard_ >= 0 || !S_ISREG(here.st_mode))
        return;
    for (const int standard : {STDOUT_FILENO, STDERR_FILENO}) {
        struct stat there {
        };
        if (fstat(standard, &there) != 0 || !same(here, there))
            continue;
        file_ = Descriptor(fcntl(standard, F_DUPFD_CLOEXEC, 0));
        if (!file_)
            fail_to_write(path_);
        return;
    }
    if (ftruncate(file_.get(), 0) != 0)
        fail_to_write(path_);
}

void OutputFile::write(std::string_view text)
{
    if (!write_pieces(file_.get(), text, waits_)) {
        kept_ = kept_ && written_ > 0;
        fail_to_write(path_);
    }
    written_ += text.size();
}

bool OutputFile::has_lost_place() const
{
    return plain_file() && !is(path_);
}

std::optional<struct stat> OutputFile::plain_file() const
{
    struct stat here {
    };
    if (standard_ >= 0 || fstat(file_.get(), &here) != 0 || !S_ISREG(here.st_mode))
        return std::nullopt;
    return here;
}

void OutputFile::check() const
{
    struct stat there {
    };
    if (has_lost_place())
        throw std::runtime_error(path_ +
                                 (stat(path_.c_str(), &there) == 0
                                      ? ": another file has taken its place"
                                      : ": the file is no longer there") +
                                 "; what was written is lost");
    const std::optional<struct stat> here = plain_file();
    if (here && static_cast<std::size_t>(here->st_size) < written_)
        throw std::runtime_error(path_ +
                                 ": somebody has emptied the file meanwhile; a part of what "
                                 "was written is lost");
}

bool write_whole(int descriptor, std::string_view text)
{
    return write_pieces(descriptor, text, may_wait(descriptor));
}

} // namespace velt
