// Whole files.

#include "common/file.h"

#include <cerrno>
#include <stdexcept>
#include <system_error>

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
        if (content.size() > most_content)
            throw std::runtime_error(name + ": is larger than 256 MiB, or has no end");
    }
    if (std::ferror(file) != 0)
        fail(name);
    return content;
}

} // namespace velt
