// Whole files. Those that are read have up to 256 MiB. Every failure is a std::runtime_error that
// names the file.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace velt
{

struct Closer {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closer>;

File open_file(const std::string &path, const char *mode);
// The path "-" means the standard input.
std::string read_file(const std::string &path);
// Reads a plain file and no other, as many bytes as its size says.
std::string read_plain_file(const std::string &path);
// Throws unless there is such a file, which can be read.
void expect_plain_file(const std::string &path);
// Returns the names in a folder, without . and .., or none when it cannot be read. Unlike the
// standard library's iterators, it does not end the process for lack of memory.
std::vector<std::string> names_in(const std::string &folder);
// What tells a text from others: its length, and a hash.
struct Digest {
    static constexpr std::size_t block_size = 65536;
    std::size_t size = 0, hash = 0;

    // Adds the next block, which is full unless it is the last.
    void add(std::string_view block);
    bool operator==(const Digest &) const = default;
};
Digest digest_of(std::string_view text);
// Returns whether a plain file, of any size, holds such a text.
bool holds(const std::string &path, const Digest &digest);

} // namespace velt
