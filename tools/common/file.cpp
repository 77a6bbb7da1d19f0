// Whole files.

#include "tools/common/file.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace
{

[[noreturn]] void fail(const std::string &path)
{
    throw std::system_error(errno, std::generic_category(), path);
}

void write(const std::string &path, const std::string &content)
{
    File file = open_file(path, "wb");
    if (std::fwrite(content.data(), 1, content.size(), file.get()) != content.size() ||
        std::fclose(file.release()) != 0)
        fail(path);
}

} // namespace

File open_file(const std::string &path, const char *mode)
{
    File file(std::fopen(path.c_str(), mode));
    if (file == nullptr)
        fail(path);
    return file;
}

std::string read_file(const std::string &path)
{
    const File file = open_file(path, "rb");
    std::string content;
    char block[4096];
    while (const std::size_t count = std::fread(block, 1, sizeof block, file.get()))
        content.append(block, count);
    if (std::ferror(file.get()) != 0)
        fail(path);
    return content;
}

void write_file(const std::string &path, const std::string &content)
{
    if (const auto status = fs::status(path); fs::exists(status) && !fs::is_regular_file(status))
        return write(path, content);
    const std::string unfinished = path + ".part";
    try {
        write(unfinished, content);
        fs::rename(unfinished, path);
    } catch (...) {
        std::error_code ignored;
        fs::remove(unfinished, ignored);
        throw;
    }
}
