#include "host/documents/documents.h"

#include "common/file.h"
#include "host/documents/plain_text.h"
#include "host/files/document.h"

namespace velt::host
{

namespace
{

// Returns the status that goes with the word.
Status status_of(UIntT word)
{
    switch (word) {
#define V_FILE_STATUS(bit, name, status, meaning)                                                  \
    case file_status::name:                                                                        \
        return status;
#include "velt/tables/file_statuses.def"
    }
    return ok;
}

struct Failure {
    Failure(UIntT file_word, std::string why)
        : status(status_of(file_word)), word(file_word), reason(std::move(why))
    {
    }
    Failure(Status refusal, std::string why) : status(refusal), reason(std::move(why)) {}

    Status status;
    UIntT word = 0; // of file_status
    std::string reason;
};

template <class Action>
FileOutcome carry_out(FileOutcome outcome, Action action)
{
    try {
        action(outcome);
    } catch (const Failure &failure) {
        outcome.status = failure.status;
        outcome.words |= failure.word;
        outcome.reason = failure.reason;
    } catch (const StatusError &error) {
        outcome.status = error.status();
        outcome.reason = error.what();
    }
    return outcome;
}

std::string text_of(const KeptFiles *kept, const std::string &path)
{
    try {
        return read_kept_file(kept, path);
    } catch (const std::runtime_error &error) {
        throw Failure(file_status::no_such_file, error.what());
    }
}

} // namespace

// Names of files

std::string Documents::told(const std::string &utf8) const
{
    const SessionText session(model_.language());
    std::string bytes;
    for (const char32_t character : from_utf8(printable_lines(utf8))) {
        try {
            bytes += character == U'\n' ? "; " : session.from_utf8(to_utf8(character));
        } catch (const std::runtime_error &) {
            bytes += '?';
        }
    }
    return bytes;
}

std::string Documents::beside_book(const std::string &name) const
{
    if (name.empty())
        return name;
    const std::filesystem::path book = book_file_ ? book_file_->path() : "";
    return book.parent_path() / SessionText(model_.language()).to_utf8(name);
}

std::string Documents::component_file(UIntT component) const
{
    const auto &properties = model_.at(component).properties;
    const auto file = properties.find(PropertyKey(file_property));
    if (file == properties.end() || file->second.kind() != kind::string)
        return {};
    const char *name = file->second.get().u.stringVal;
    return beside_book(name ? name : "");
}

std::string Documents::path(UIntT document) const
{
    if (book_file_ && document == book_)
        return book_file_->path();
    const auto file = files_.find(document);
    return file == files_.end() ? std::string() : file->second.path();
}

std::string Documents::copy_of(UIntT document) const
{
    if (book_file_ && document == book_)
        return book_file_->copy_of(model_, book_);
    const auto copy = copies_.find(document);
    return copy == copies_.end()
               ? ""
               : copy->second.path_of(write_document(model_, document), files_.at(document));
}

std::string Documents::title(UIntT document) const
{
    const std::string name = std::filesystem::path(path(document)).filename();
    return name.empty() ? "untitled" : name;
}

// What the operations have in common

void Documents::need(UIntT document) const
{
    if (document != 0 && document == book_)
        throw Failure(not_supported, "a book can be opened and saved, and nothing else");
    model_.check_is_document(document);
}

void Documents::set_book(UIntT book, BookFile &file)
{
    book_ = book;
    book_file_ = &file;
    model_.document_of = [this](UIntT component) {
        const std::string path = component_file(component);
        return path.empty() ? 0 : find(path);
    };
}

UIntT Documents::find(const std::string &path) const
{
    for (const auto &[document, file] : files_)
        if (file.is(path))
            return document;
    return 0;
}

UIntT Documents::owner(const std::string &path) const
{
    if (const UIntT document = find(path))
        return document;
    return book_file_ && book_file_->is(path) ? book_ : 0;
}

template <class Write>
void Documents::write(const std::string &path, UIntT document, Write write)
{
    if (const UIntT other = owner(path); other != 0 && other != document)
        throw Failure(file_status::unwritable,
                      path + " is the file of " +
                          (other == book_ ? "the book" : "an open document") +
                          ": another name is needed");
    try {
        write();
    } catch (const ChangedError &error) {
        throw Failure(file_status::changed_by_others, error.what());
    } catch (const std::runtime_error &error) {
        throw Failure(file_status::unwritable, error.what());
    }
}

void Documents::load(UIntT document, KnownFile &file)
{
    const std::string text = text_of(kept, file.path());
    KnownFile::Contents contents = file.contents(text);
    try {
        read_document(text, file.path(), model_, document);
    } catch (const NewerFormat &error) {
        throw Failure(file_status::newer, error.what());
    } catch (const Error &error) {
        throw Failure(file_status::damaged, error.what());
    }
    file.remember(std::move(contents));
}

// Opening

FileOutcome Documents::open(const std::string &path, bool again, const Client *cause)
{
    if (const UIntT document = owner(path); again && document != 0) {
        const FileOutcome outcome = revert(document);
        if (outcome.status == ok)
            model_.activate_document(document);
        return outcome;
    }
    return carry_out({.file = path}, [&](FileOutcome &o) {
        const auto opened = [&] {
            o.document = owner(path);
            if (o.document == 0)
                return false;
            o.words = file_status::opened_already;
            if (o.document != book_)
                model_.activate_document(o.document);
            return true;
        };
        if (opened())
            return;
        const std::string name = told(path);
        announcer.announce(V_notification_before_open, 0, name, 0, cause);
        if (opened()) // a client has opened it meanwhile
            return;
        KnownFile file(path);
        const UIntT document = model_.create_document("");
        try {
            load(document, file);
            model_.set_file(document, Value::string(name));
            files_.emplace(document, std::move(file));
        } catch (...) {
            files_.erase(document);
            model_.close_document(document);
            throw;
        }
        model_.activate_document(document);
        model_.forget_change(document);
        announcer.announce_done(V_notification_after_open, document, name, 0, cause);
        need(document); // a client may have closed it
        o.document = document;
    });
}

UIntT Documents::create(const Client *cause)
{
    announcer.announce(V_notification_before_open, 0, "", 0, cause);
    const UIntT document = model_.create_document("");
    model_.activate_document(document);
    announcer.announce_done(V_notification_after_open, document, "", 0, cause);
    need(document); // a client may have closed it
    return document;
}

FileOutcome Documents::revert(UIntT document)
{
    return carry_out({.document = document}, [&](FileOutcome &o) {
        need(document);
        o.file = path(document);
        if (o.file.empty())
            throw Failure(file_status::no_such_file, "the document has no file yet");
        std::string lost = model_.changed(document) ? title(document) : "";
        load(document, files_.at(document));
        o.words = file_status::reverted;
        o.lost = std::move(lost);
    });
}

// Saving and closing

FileOutcome Documents::save(UIntT document, const std::string &path, bool force, mode_t mode,
                            const Client *cause)
{
    const std::string to = path.empty() ? this->path(document) : path;
    return carry_out({.document = document, .file = to}, [&](FileOutcome &) {
        if (book_file_ && document == book_)
            return write(to, book_,
                         [&] { book_file_->save(to, model_, book_, force, mode, kept); });
        need(document);
        if (to.empty())
            throw Failure(file_status::no_such_file, "the document has no file yet; name one");
        const std::string name = told(to);
        announcer.announce(V_notification_before_save, document, name, 0, cause);
        need(document); // a client may have closed it
        KnownFile &file = files_[document];
        const bool unnamed = file.path().empty();
        bool own = false;
        Value named = Value::string(name);
        const std::string text = write_document(model_, document);
        SavedCopy copy{to, digest_of(text)}, &last = copies_[document];
        write(to, document, [&] { own = file.write(to, text, force, mode, kept); });
        if (own)
            model_.set_changed(document, false);
        else
            last = std::move(copy);
        if (unnamed)
            model_.set_file(document, std::move(named));
        announcer.announce_done(V_notification_after_save, document, name, 0, cause);
    });
}

// Does with the document's changes what the person says, and sets whether they may be lost.
FileOutcome Documents::ask_for_changes(UIntT document, bool &lost, const Client *cause)
{
    enum { saving, losing };
    const int client = cause ? cause->number : 0;
    const auto reply = [&]<class T>(T, const Question &question) {
        const Reply given = ask ? ask(question) : Reply();
        if (!std::holds_alternative<T>(given))
            throw Failure(file_status::cancelled, "the document has changes that are not saved");
        return std::get<T>(given);
    };
    const IntT choice = reply(IntT{}, {.kind = Question::unsaved,
                                       .client = client,
                                       .text = told(title(document)),
                                       .items = {"save", "lose"}});
    std::string to = path(document);
    lost = choice == losing;
    if (lost)
        return {.document = document, .file = to};
    if (to.empty())
        to = beside_book(
            reply(std::string(),
                  {.kind = Question::file, .client = client, .text = "the file of the document"}));
    return save(document, to, false, 0666, cause);
}

FileOutcome Documents::close(UIntT document, bool lose, const Client *cause)
{
    return carry_out({.document = document}, [&](FileOutcome &o) {
        need(document);
        o.file = path(document);
        announcer.announce(V_notification_before_close, document, told(o.file), 0, cause);
        need(document); // a client may have closed it
        // Clients that are told of the saving may change it once more.
        for (bool lost = lose; !lost && model_.changed(document);) {
            o = ask_for_changes(document, lost, cause);
            if (o.status != ok)
                return;
            need(document);
        }
        const std::string name = told(o.file);
        if (lose && model_.changed(document))
            o.lost = title(document);
        model_.close_document(document);
        files_.erase(document);
        copies_.erase(document);
        announcer.announce_done(V_notification_after_close, document, name, 0, cause);
    });
}

// Plain text

FileOutcome Documents::export_text(UIntT document, const std::string &path,
                                   const V_TextRangeT *range, bool force, mode_t mode)
{
    return carry_out({.document = document, .file = path}, [&](FileOutcome &o) {
        need(document);
        std::string text;
        if (range) {
            text = model_.text(document, *range) + "\n";
        } else {
            for (UIntT flow : model_.members(document))
                for (UIntT paragraph : model_.members(flow))
                    text += model_.at(paragraph).text + "\n";
        }
        bool lost = false;
        const std::string plain = plain_text(text, SessionText(model_.language()), lost);
        write(path, 0, [&] { exported_.write(path, plain, force, mode, kept); });
        o.words = lost ? file_status::characters_lost : 0;
    });
}

FileOutcome Documents::import_text(UIntT document, const V_TextLocT &place, const std::string &path)
{
    return carry_out({.document = document, .file = path}, [&](FileOutcome &) {
        need(document);
        const std::string file = text_of(kept, path);
        std::string lines;
        try {
            lines = lines_of(file, SessionText(model_.language()));
        } catch (const std::runtime_error &error) {
            throw Failure(file_status::damaged, path + ":" + error.what());
        }
        model_.add_text(document, place, lines);
    });
}

} // namespace velt::host
