// Replacing a file: until the new content is complete and on the disk, the old file stays.
#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>

namespace velt
{

// A file that will replace another, or be a new one. It is written in the same directory, without a
// name where the file system can do that, so that nothing of it is left however the process ends;
// else under another name, and removed unless it is committed. Failures are std::runtime_error with
// the path and the reason, and leave the old file as it is:
//
// - a symbolic link stays, and the file that it points at, which must exist, is replaced;
// - owner, group, mode and access list are kept; where they cannot be, nobody gains access;
// - a file that the caller may not write, or whose mode lets nobody write, is not replaced;
// - nor is a file with other names (hard links), which would keep the old content.
class NewFile
{
public:
    // How to treat a path that is no plain file, such as /dev/null, and so cannot be replaced.
    enum class Others { refused, written };

    // A file that is new gets the mode, less the process's mask.
    explicit NewFile(const std::string &path, Others others = Others::refused, mode_t mode = 0666);
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;
    ~NewFile();

    // Has the old file to itself as OutputFile::lock() does, until this is destroyed. Returns false
    // when another has it.
    bool lock_old() const;
    void write(std::string_view bytes);
    // Does all but the replacement: the new file is complete and on the disk.
    void finish();
    void commit();

    // Removes all uncommitted files, for a process that ends without running destructors.
    static void remove_unfinished();

private:
    void begin_beside(const std::string &target, mode_t mode);
    void keep_attributes();
    template <class Make>
    void take_name(Make make);
    [[noreturn]] void fail() const; // with errno
    [[noreturn]] void refuse(const char *reason) const;

    std::string path_;
    std::string name_;       // in the directory
    std::string unfinished_; // its other name up to commit(); empty when there is none
    int directory_ = -1;
    int old_ = -1; // the file that is replaced
    int file_ = -1;
    bool replaces_ = false, finished_ = false;
    NewFile *earlier_; // the next in the list of uncommitted files
    static NewFile *latest_;
};

void replace_file(const std::string &path, std::string_view content,
                  NewFile::Others others = NewFile::Others::refused);

// From now on a write beyond the file size limit fails like one on a full disk, in the whole
// process. Without this a signal ends the process.
void survive_file_size_limit();
// Undoes that, in a child that is to become another program.
void restore_file_size_limit();

} // namespace velt
