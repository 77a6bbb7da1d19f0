// A file that the host reads and writes, and what it held then.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

#include "common/error.h"
#include "common/file.h"

namespace velt::host
{

// Files that stay in memory when they are written, over those on the disk, by their places there.
class KeptFiles
{
public:
    // Returns the text; null for a file that has not been written.
    const std::string *find(const std::string &path) const;
    // Returns what takes the file's place by commit(), which does not fail. Refuses as the disk
    // does what has no folder there, or is one.
    using Written = std::map<std::filesystem::path, std::string>;
    Written write(const std::string &path, std::string_view text) const;
    void commit(Written written) noexcept;

private:
    Written all_;
};

// Reads a plain file where it is.
std::string read_kept_file(const KeptFiles *kept, const std::string &path);

// Thrown instead of replacing a file that somebody else has made or changed.
class ChangedError : public Error
{
public:
    explicit ChangedError(const std::string &text) : Error(failed, text) {}
};

// The file of a book or document. No file is replaced that has not been read or written by this, or
// that somebody else has changed since, unless `force` is set. Failures are std::runtime_error.
class KnownFile
{
public:
    explicit KnownFile(std::string path = {}) : path_(std::move(path)) {}
    // The path is empty for what has no file yet.
    const std::string &path() const { return path_; }
    // Returns whether the other path leads to this file.
    bool is(const std::string &path) const;

    // What the texts of files were, and the files to which paths led.
    struct Contents {
        std::map<std::filesystem::path, Digest> texts;
        std::map<std::string, std::filesystem::path> places;
    };
    // Returns what to remember of the file when this text has been read from it.
    Contents contents(std::string_view text) const { return contents(path_, text); }
    void remember(Contents contents) noexcept;
    // Replaces the file once the new one is complete; if that fails, the old one stays. Writes to
    // another file, or to this one by another path; what has no file gets this one. A file that is
    // new gets the mode, less the process's mask. Where files are kept in memory, that is all that
    // changes. Returns whether it is this file.
    bool write(const std::string &path, std::string_view text, bool force, mode_t mode = 0666,
               KeptFiles *kept = nullptr);
    // Returns whether the file on the disk is as it was last read or written.
    bool still_holds(const std::string &path) const;

private:
    // Returns the file to which the path led when it was last read or written, or the one to which
    // it leads now if it has been neither.
    std::filesystem::path place(const std::string &path) const;
    static Contents contents(const std::string &path, std::string_view text);
    void check_unchanged(const std::string &path, const KeptFiles *kept) const;

    std::string path_;
    // Of this file and of others that have been written. The texts are what the files hold unless
    // somebody else has changed them.
    Contents known_;
};

// Another file than its own in which something was saved last.
struct SavedCopy {
    std::string path;
    Digest saved = {}; // of what is compared

    // Returns its path, when it still holds that and this is what was saved.
    std::string path_of(std::string_view now, const KnownFile &file) const;
};

} // namespace velt::host
