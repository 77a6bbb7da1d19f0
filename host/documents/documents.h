// What happens when documents are opened, saved and closed: files, the model, the person's
// decisions, and the notifications of clients.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>

#include "host/documents/announcer.h"
#include "host/files/book.h"

namespace velt::host
{

// What the status in a returned list tells, as bits.
namespace file_status
{
#define V_FILE_STATUS(bit, name, status, meaning) inline constexpr UIntT name = UIntT{1} << (bit);
#include "velt/tables/file_statuses.def"
} // namespace file_status

// What came of an operation on a document and a file. Texts are in UTF-8.
struct FileOutcome {
    Status status = ok;
    UIntT document = 0;
    UIntT words = 0; // of file_status
    std::string file = {};
    std::string reason = {}; // why it failed
    // The title of the document whose changes are lost without the person having been asked.
    std::string lost = {};
};

// An operation that fails changes nothing. The cause is the client that calls; null is the person.
// Paths are in UTF-8. No operation writes the file of another document or book that is open, nor
// without `force` one that somebody else has made, or changed since it was read or written here.
class Documents
{
public:
    explicit Documents(Model &model) : announcer(model), model_(model) {}

    Announcer announcer;
    // Asks the person; when it is empty, nobody is there to answer.
    std::function<Reply(const Question &)> ask;
    // Where files are written, and read from first; null is the disk.
    KeptFiles *kept = nullptr;

    // Sets the book whose components have documents, and its file.
    void set_book(UIntT book, BookFile &file);
    // Returns the path of a file that a client, or the book, names in the session's encoding: a
    // relative one is looked for beside the book.
    std::string beside_book(const std::string &name) const;
    // Returns the path of the component's file; empty when it names none.
    std::string component_file(UIntT component) const;

    // Opens the document, which becomes the active one. One that is open already is answered as it
    // is, or with `again` is reverted; so is the book, which nothing else is done with here than to
    // save it.
    FileOutcome open(const std::string &path, bool again, const Client *cause = nullptr);
    // Creates a document without a file. Throws StatusError when a client closes it at once.
    UIntT create(const Client *cause = nullptr);
    // Saves the document or the book in its own file, if the path is empty, or in another, which
    // becomes its own if it has none.
    FileOutcome save(UIntT document, const std::string &path, bool force, mode_t mode = 0666,
                     const Client *cause = nullptr);
    // Closes the document. Unless changes may be lost, the person is asked what to do with them,
    // also with those that clients make when they are told of it.
    FileOutcome close(UIntT document, bool lose, const Client *cause = nullptr);
    // Reads the document's file again; it keeps its id.
    FileOutcome revert(UIntT document);

    // Writes text of the range, or all of it if that is null, in UTF-8, a line for a paragraph.
    FileOutcome export_text(UIntT document, const std::string &path, const V_TextRangeT *range,
                            bool force = false, mode_t mode = 0666);
    // Adds the text of a file in UTF-8 at the place, a paragraph for a line.
    FileOutcome import_text(UIntT document, const V_TextLocT &place, const std::string &path);

    // Returns the path of the document's or the book's file; empty when it has none.
    std::string path(UIntT document) const;
    // Returns the other file that holds the document or the book as it is; empty when there is
    // none.
    std::string copy_of(UIntT document) const;
    // Returns what people call the document: the name of its file.
    std::string title(UIntT document) const;
    // Returns a text that people are told in the session's encoding, on one line, in which '?'
    // stands for a character that this lacks.
    std::string told(const std::string &utf8) const;

private:
    // Refuses an id that is no open document's.
    void need(UIntT document) const;
    // Returns the open document whose file it is, or 0.
    UIntT find(const std::string &path) const;
    // Returns the document, or else the book, whose file it is; 0 when it is that of none.
    UIntT owner(const std::string &path) const;
    // Has `write` write the file for the document or book.
    template <class Write>
    void write(const std::string &path, UIntT document, Write write);
    void load(UIntT document, KnownFile &file);
    FileOutcome ask_for_changes(UIntT document, bool &lost, const Client *cause);

    Model &model_;
    std::map<UIntT, KnownFile> files_; // of the documents that have been opened or saved
    std::map<UIntT, SavedCopy> copies_;
    KnownFile exported_; // all that has been exported
    UIntT book_ = 0;
    BookFile *book_file_ = nullptr;
};

} // namespace velt::host
