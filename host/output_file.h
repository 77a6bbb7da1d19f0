// A file that a run writes anew: its trace, its report.
#pragma once

#include <string>
#include <string_view>

#include "host/descriptor.h"

namespace velt::host
{

class OutputFile
{
public:
    // Opens the file, or makes it; what it holds stays up to begin(). A pipe must have a reader.
    // Throws std::system_error.
    explicit OutputFile(const std::string &path);

    // Whether it is a plain file, and the one that is open there or has that path.
    bool is(int descriptor) const;
    bool is(const std::string &path) const;
    bool is(const OutputFile &other) const { return is(other.file_.get()); }

    // Empties it. Where the standard output or error lead to the same file, its text goes on there.
    void begin();
    // Throws std::system_error unless all of the text is written.
    void write(std::string_view text);

    const std::string &path() const { return path_; }

private:
    std::string path_;
    Descriptor file_;
};

// All of the text, in one write if the system takes it; whether that went well, else with errno.
bool write_whole(int descriptor, std::string_view text);

} // namespace velt::host
