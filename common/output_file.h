// A file that a program writes anew, in place: a trace, a report.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "common/descriptor.h"

namespace velt
{

class OutputFile
{
public:
    // Opens the file, or creates it; its content stays until begin(). "-", /dev/stdout and the like
    // mean this process's descriptor. A pipe must have a reader. Throws std::system_error.
    explicit OutputFile(const std::string &path);
    OutputFile(OutputFile &&) = default;
    OutputFile &operator=(OutputFile &&) = default;
    // Removes a file that was created and not begun, or not written, and that nobody else has
    // written to since.
    ~OutputFile();

    // Returns whether this is the plain file at a path, or that of another output or of an input
    // descriptor; for an input also whether it is the same pipe.
    bool is(const std::string &path) const;
    bool is(const OutputFile &other) const;
    bool is_read_from(int descriptor) const;
    // Returns whether this is the standard output or error, or a plain file that this goes to.
    bool is_standard(int descriptor) const;

    // Has the plain file to itself among those that ask for it, for as long as it is open, also in
    // processes that have come out of this one by fork(). Returns false when another has it, or had
    // it and has removed it.
    bool lock();
    // Returns whether this is a plain file with a content, which begin() would remove.
    bool has_content() const;

    // Throws Error when this is a plain file with a content that begin() would remove, and that
    // begins with none of these, as files of the kind do.
    void need_kind(const std::string &kind, std::span<const std::string_view> beginnings) const;

    // Empties the file. If standard output or standard error is the same file, the text is appended
    // through that descriptor instead.
    void begin();
    // Writes all of the text, in one piece if the system accepts it. Throws std::system_error, also
    // when a signal interrupts the wait for a reader.
    void write(std::string_view text);
    // Throws std::runtime_error when the plain file is no longer there, or holds less than was
    // written.
    void check() const;

    // Returns how a person is told of it.
    const std::string &path() const { return path_; }

private:
    // Returns whether this is a plain file that is no longer the one at its path.
    bool has_lost_place() const;
    // What is known of a plain file with a path of its own; nothing of what is none.
    std::optional<struct stat> plain_file() const;

    std::string path_;
    Descriptor file_;
    std::size_t written_ = 0; // bytes
    int standard_ = -1;       // the descriptor that the path means
    bool made_ = false, waits_ = false, kept_ = false;
};

// Writes all of the text to an open descriptor. Returns false with errno set when that fails.
bool write_whole(int descriptor, std::string_view text);

} // namespace velt
