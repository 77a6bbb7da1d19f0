// Whole files.

#include "common/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "common/descriptor.h"

namespace velt
{

namespace
{

// The limit keeps an endless file from filling the memory.
constexpr std::size_t most_content = std::size_t{256} << 20;

[[noreturn]] void fail(const std::string &path)
{
    throw std::system_error(errno, std::generic_category(), path);
}

void check_size(std::size_t size, const std::string &name)
{
    if (size > most_content)
        throw std::runtime_error(name + ": is larger than 256 MiB, or has no end");
}

} // namespace

File open_file(const std::string &path, const char *mode)
{
    File file(std::fopen(path.c_str(), mode));
    if (!file)
        fail(path);
    return file;
}

std::string read_file(const std::string &path)
{
    const bool standard = path == "-";
    const File opened = standard ? nullptr : open_file(path, "rb");
    std::FILE *const file = standard ? stdin : opened.get();
    const std::string name = standard ? "standard input" : path;
    std::string content;
    char block[4096];
    while (const std::size_t count = std::fread(block, 1, sizeof block, file)) {
        content.append(block, count);
        check_size(content.size(), name);
    }
    if (std::ferror(file) != 0)
        fail(name);
    return content;
}

std::string read_plain_file(const std::string &path)
{
    // O_NONBLOCK keeps open() from waiting for a writer when the path is a pipe.
    const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {
    };
    if (!file || fstat(file.get(), &status) != 0)
        fail(path);
    if (!S_ISREG(status.st_mode))
        throw std::runtime_error(path + ": it is not a plain file");
    const auto size = static_cast<std::size_t>(status.st_size);
    check_size(size, path);
    std::string text(size + 1, '\0');
    std::size_t length = 0;
    while (length < text.size()) {
        const ssize_t got = read(file.get(), text.data() + length, text.size() - length);
        if (got < 0 && errno != EINTR)
            fail(path);
        if (got == 0)
            break;
        length += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    }
    if (length == text.size())
        throw std::runtime_error(path + ": it grows while it is read, or has no size");
    text.resize(length);
    return text;
}

} // namespace velt
