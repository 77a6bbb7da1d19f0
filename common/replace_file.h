// Replacing a file: until the new content is complete and on the disk, the old file stays.
#pragma once

#include <string>
#include <string_view>
#include <sys/stat.h>

namespace velt
{

// A file that is about to take the place of another, or to be a new one. It is written beside that,
// and gone again unless it is committed. Failures are std::runtime_error with the path and the
// reason, and leave the old file as it is:
//
// - a symbolic link stays one, and what it points at is replaced; there must be something;
// - owner, group, mode and access list stay; where they cannot, nobody gets more than before;
// - what the caller may not write, or nobody may by its mode, is not replaced;
// - nor is a file that has other names (hard links), which would keep the old content.
class NewFile
{
public:
    // What is no plain file, such as /dev/null, cannot be replaced: it is refused, or written to.
    enum class Others { refused, written };

    explicit NewFile(const std::string &path, Others others = Others::refused);
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;
    ~NewFile();

    void write(std::string_view bytes);
    // Everything but the replacement: the new file is complete and on the disk.
    void finish();
    void commit();

    // Removes those that are not committed, in a process that is about to end without destructors.
    static void remove_unfinished();

private:
    void begin_beside(const std::string &target);
    void keep_attributes();
    [[noreturn]] void fail() const; // with errno
    [[noreturn]] void refuse(const char *reason) const;

    std::string path_;
    std::string name_;       // in the directory
    std::string unfinished_; // its name up to commit(); empty when there is none
    int directory_ = -1;
    int old_ = -1; // the file that is replaced
    int file_ = -1;
    bool finished_ = false;
    NewFile *earlier_; // that is not committed either
    static NewFile *latest_;
};

void replace_file(const std::string &path, std::string_view content,
                  NewFile::Others others = NewFile::Others::refused);

// Has a write beyond the limit on the size of files fail like one on a full disk, for the whole
// process. Without this the limit ends it by a signal.
void survive_file_size_limit();

} // namespace velt
