// Whole files.

#include "common/file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <functional>
#include <memory>
#include <new>
#include <span>
#include <stdexcept>
#include <system_error>

#include "common/descriptor.h"

namespace velt
{

namespace
{

// The limit keeps an endless file from filling the memory.
constexpr std::size_t most_content = std::size_t{256} << 20;

[[noreturn]] void cannot_use(const std::string &path)
{
    throw std::system_error(errno, std::generic_category(), path);
}

void check_size(std::size_t size, const std::string &name)
{
    if (size > most_content)
        throw std::runtime_error(name + ": is larger than 256 MiB, or has no end");
}

class PlainFile
{
public:
    std::size_t size;

    explicit PlainFile(const std::string &path)
        // O_NONBLOCK keeps open() from waiting for a writer when the path is a pipe.
        : path_(path), file_(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC))
    {
        struct stat status {
        };
        if (!file_ || fstat(file_.get(), &status) != 0)
            cannot_use(path);
        if (!S_ISREG(status.st_mode))
            throw std::runtime_error(path + ": it is not a plain file");
        size = static_cast<std::size_t>(status.st_size);
    }

    // Reads until the room is full or the file ends, and returns the number of bytes.
    std::size_t read(std::span<char> room) const
    {
        std::size_t length = 0;
        while (length < room.size()) {
            const ssize_t got = ::read(file_.get(), room.data() + length, room.size() - length);
            if (got < 0 && errno != EINTR)
                cannot_use(path_);
            if (got == 0)
                break;
            length += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
        }
        return length;
    }

private:
    const std::string &path_;
    Descriptor file_;
};

} // namespace

File open_file(const std::string &path, const char *mode)
{
    File file(std::fopen(path.c_str(), mode));
    if (!file)
        cannot_use(path);
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
        cannot_use(name);
    return content;
}

std::string read_plain_file(const std::string &path)
{
    const PlainFile file(path);
    check_size(file.size, path);
    std::string text(file.size + 1, '\0');
    text.resize(file.read(text));
    if (text.size() > file.size)
        throw std::runtime_error(path + ": it grows while it is read, or has no size");
    return text;
}

void expect_plain_file(const std::string &path)
{
    PlainFile{path};
}

std::vector<std::string> names_in(const std::string &folder)
{
    using Handle = std::unique_ptr<DIR, int (*)(DIR *)>;
    Handle opened(nullptr, closedir);
    // As operator new does, so that it has a reserve of memory, too.
    while (opened.reset(opendir(folder.c_str())), !opened && errno == ENOMEM)
        if (const std::new_handler handler = std::get_new_handler())
            handler();
        else
            throw std::bad_alloc();
    std::vector<std::string> names;
    while (const dirent *each = opened ? readdir(opened.get()) : nullptr)
        if (const std::string name = each->d_name; name != "." && name != "..")
            names.push_back(name);
    return names;
}

void Digest::add(std::string_view block)
{
    constexpr std::size_t odd = 0x9E3779B97F4A7C15;
    hash = (hash + std::hash<std::string_view>()(block)) * odd;
    size += block.size();
}

Digest digest_of(std::string_view text)
{
    Digest digest;
    while (!text.empty()) {
        const std::string_view block = text.substr(0, Digest::block_size);
        digest.add(block);
        text.remove_prefix(block.size());
    }
    return digest;
}

bool holds(const std::string &path, const Digest &digest)
{
    const PlainFile file(path);
    if (file.size != digest.size)
        return false;
    Digest read;
    std::array<char, Digest::block_size> block;
    while (const std::size_t got = file.read(block))
        read.add({block.data(), got});
    return read == digest;
}

} // namespace velt
