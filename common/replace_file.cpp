#include "common/replace_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace velt
{
namespace
{

constexpr const char *access_list = "system.posix_acl_access";

void close_open(int &descriptor)
{
    if (descriptor >= 0)
        close(descriptor);
    descriptor = -1;
}

// The name is short, so that a directory that accepts the file's own name accepts it too.
std::string unforeseeable_name()
{
    unsigned long long number = 0;
    if (getrandom(&number, sizeof number, 0) != ssize_t{sizeof number})
        throw std::system_error(errno, std::generic_category(), "no random numbers");
    char text[32];
    std::snprintf(text, sizeof text, ".velt-%016llx", number);
    return text;
}

// Returns a path that leads to an open file.
std::string open_path(int descriptor)
{
    return "/proc/self/fd/" + std::to_string(descriptor);
}

// Limits the group's permissions to those of others.
mode_t without_group(mode_t mode)
{
    return mode & ~(S_IRWXG & ~((mode & S_IRWXO) << 3));
}

// Copies the access list of the old file to the new one, or removes the new one's; returns whether
// that succeeded.
bool same_access_list(int from, int to)
{
    std::vector<char> list(65536); // the longest list that the system allows
    const ssize_t size = fgetxattr(from, access_list, list.data(), list.size());
    if (size > 0)
        return fsetxattr(to, access_list, list.data(), static_cast<std::size_t>(size), 0) == 0;
    if (size < 0 && errno != ENODATA && errno != ENOTSUP)
        return false;
    return fremovexattr(to, access_list) == 0 || errno == ENODATA || errno == ENOTSUP;
}

} // namespace

NewFile *NewFile::latest_;

static void (*size_limit_before)(int) = SIG_DFL;

// Has the file made, or linked, under a name that no other file has.
template <class Make>
void NewFile::take_name(Make make)
{
    bool made = false;
    do
        unfinished_ = unforeseeable_name();
    while (!(made = make()) && errno == EEXIST);
    if (made)
        return;
    unfinished_.clear();
    fail();
}

void NewFile::fail() const
{
    throw std::runtime_error(path_ + ": " + std::generic_category().message(errno));
}

void NewFile::refuse(const char *reason) const
{
    throw std::runtime_error(path_ + ": " + reason);
}

NewFile::NewFile(const std::string &path, Others others, mode_t mode)
    : path_(path), earlier_(latest_)
{
    struct stat old {
    };
    if (stat(path.c_str(), &old) != 0) {
        if (errno != ENOENT)
            fail();
        if (lstat(path.c_str(), &old) == 0)
            refuse("it is a symbolic link to a file that does not exist");
        begin_beside(path, mode);
        return;
    }
    if (!S_ISREG(old.st_mode)) {
        if (others == Others::refused || S_ISDIR(old.st_mode))
            refuse("it is not a plain file");
        if ((file_ = open(path.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC)) < 0)
            fail();
        return;
    }
    const std::unique_ptr<char, void (*)(void *)> target(realpath(path.c_str(), nullptr),
                                                         std::free);
    if (!target)
        fail();
    begin_beside(target.get(), mode);
}

void NewFile::begin_beside(const std::string &target, mode_t mode)
try {
    const auto slash = target.rfind('/');
    name_ = target.substr(slash + 1); // the whole target when it has no slash
    const std::string folder = slash == target.npos ? "." : target.substr(0, slash + 1);
    if ((directory_ = open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) < 0)
        fail();
    // Opening the old file for writing checks the permission to write it.
    constexpr int to_write = O_WRONLY | O_CLOEXEC | O_NOFOLLOW;
    old_ = openat(directory_, name_.c_str(), to_write | O_NONBLOCK);
    if (old_ < 0 && errno != ENOENT)
        fail();
    if (old_ >= 0) {
        struct stat old {
        };
        if (fstat(old_, &old) != 0)
            fail();
        if ((old.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0)
            refuse("it is write-protected");
        if (old.st_nlink > 1)
            refuse("it has other names (hard links), which would keep the old content");
    }
    replaces_ = true;
    const mode_t first_mode = old_ >= 0 ? 0600 : mode;
    file_ = openat(directory_, ".", O_WRONLY | O_CLOEXEC | O_TMPFILE, first_mode);
    if (file_ >= 0 && faccessat(AT_FDCWD, open_path(file_).c_str(), F_OK, AT_EACCESS) != 0)
        close_open(file_); // it could not be named
    if (file_ < 0)
        take_name([&] {
            file_ =
                openat(directory_, unfinished_.c_str(), to_write | O_CREAT | O_EXCL, first_mode);
            return file_ >= 0;
        });
    latest_ = this;
} catch (...) {
    close_open(old_);
    close_open(directory_);
    throw;
}

void NewFile::remove_unfinished()
{
    for (const NewFile *each = latest_; each; each = each->earlier_)
        if (!each->unfinished_.empty())
            unlinkat(each->directory_, each->unfinished_.c_str(), 0);
}

NewFile::~NewFile()
{
    NewFile **place = &latest_;
    while (*place && *place != this)
        place = &(*place)->earlier_;
    if (*place)
        *place = earlier_;
    if (!unfinished_.empty())
        unlinkat(directory_, unfinished_.c_str(), 0);
    close_open(file_);
    close_open(old_);
    close_open(directory_);
}

bool NewFile::lock_old() const
{
    return old_ < 0 || flock(old_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

void NewFile::write(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(file_, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR)
            fail();
        bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
}

void NewFile::keep_attributes()
{
    struct stat old {
    }, made{};
    if (fstat(old_, &old) != 0 || fstat(file_, &made) != 0)
        fail();
    mode_t mode = old.st_mode & 07777;
    if ((old.st_uid != made.st_uid || old.st_gid != made.st_gid) &&
        fchown(file_, old.st_uid, old.st_gid) != 0) {
        mode &= ~mode_t{S_ISUID | S_ISGID};
        if (old.st_gid != made.st_gid && fchown(file_, static_cast<uid_t>(-1), old.st_gid) != 0)
            mode = without_group(mode);
    }
    // The mode comes first: once there is an access list, chmod sets the list's mask instead of the
    // group's permissions.
    if (fchmod(file_, mode) != 0)
        fail();
    if (!same_access_list(old_, file_) && fchmod(file_, without_group(mode)) != 0)
        fail();
}

void NewFile::finish()
{
    if (finished_)
        return;
    if (old_ >= 0)
        keep_attributes();
    if (replaces_ && fsync(file_) != 0)
        fail();
    finished_ = true;
}

void NewFile::commit()
{
    finish();
    if (!replaces_) {
        const int file = file_;
        file_ = -1;
        if (close(file) != 0)
            fail();
        return;
    }
    if (unfinished_.empty())
        take_name([&] {
            return linkat(AT_FDCWD, open_path(file_).c_str(), directory_, unfinished_.c_str(),
                          AT_SYMLINK_FOLLOW) == 0;
        });
    if (renameat(directory_, unfinished_.c_str(), directory_, name_.c_str()) != 0)
        fail();
    unfinished_.clear();
    // Without this sync a power failure may undo the renaming, but it damages neither file.
    int folder = openat(directory_, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0)
        fsync(folder);
    close_open(folder);
}

void replace_file(const std::string &path, std::string_view content, NewFile::Others others)
{
    NewFile file(path, others);
    file.write(content);
    file.commit();
}

void survive_file_size_limit()
{
    size_limit_before = std::signal(SIGXFSZ, SIG_IGN);
}

void restore_file_size_limit()
{
    std::signal(SIGXFSZ, size_limit_before);
}

} // namespace velt
