// A file that a program writes anew, in place: a trace, a report.
#pragma once

#include <string>
#include <string_view>

#include "common/descriptor.h"

namespace velt
{

class OutputFile
{
public:
    // Opens the file, or makes it; what it holds stays up to begin(). Of /dev/stdout and the like
    // it is the descriptor that counts. A pipe must have a reader. Throws std::system_error.
    explicit OutputFile(const std::string &path);
    OutputFile(OutputFile &&) = default;
    OutputFile &operator=(OutputFile &&) = default;
    // One that was made and not begun is gone again.
    ~OutputFile();

    // Whether it is the plain file that has the path, or is open there; for what is read, also the
    // same pipe.
    bool is(const std::string &path) const;
    bool is(const OutputFile &other) const;
    bool is_read_from(int descriptor) const;

    // Empties it. Where the standard output or error lead to the same file, its text goes on there.
    void begin();
    // Writes all of the text, in one piece if the system takes it. Throws std::system_error, also
    // when it waits for a reader and is interrupted.
    void write(std::string_view text);
    // Throws std::runtime_error when another file has taken its place.
    void check() const;

    const std::string &path() const { return path_; }

private:
    std::string path_;
    Descriptor file_;
    bool made_ = false, named_ = false;
};

// The same for an open descriptor; false with errno when not all of it is written.
bool write_whole(int descriptor, std::string_view text);

} // namespace velt
