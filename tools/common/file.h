// Whole files. Every failure is a std::system_error that names the file.
#ifndef VELT_TOOLS_COMMON_FILE_H
#define VELT_TOOLS_COMMON_FILE_H

#include <cstdio>
#include <memory>
#include <string>

struct Closer {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closer>;

File open_file(const std::string &path, const char *mode);
std::string read_file(const std::string &path);

// Replaces a file at once: until the new content is complete, the old file stays. What is not a
// regular file, such as /dev/null, is written to.
void write_file(const std::string &path, const std::string &content);

#endif
