// Whole files. Those that are read have up to 256 MiB. Every failure is a std::runtime_error that
// names the file.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

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
// Returns whether a plain file, of any size, holds this text and nothing else.
bool plain_file_holds(const std::string &path, std::string_view text);

} // namespace velt
