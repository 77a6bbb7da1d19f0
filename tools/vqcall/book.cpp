// A book with the answers of the reference host, all in this process.

#include <iostream>

#include "common/printable.h"
#include "host/answers/responder.h"
#include "tools/vqcall/partners.h"

namespace velt::call
{
namespace
{

using namespace host;

class Book final : public Partner
{
public:
    explicit Book(const BookOptions &options) : file_(options.path)
    {
        book_ =
            file_.load(model_, options.language.empty() ? 0 : language_number(options.language));
        documents_.set_book(book_, file_);
        documents_.ask = [this](const Question &question) { return host_.ask(question); };
        console_.text.emplace(model_.language());
        console_.prepare(options.answers);
        if (!options.words.empty())
            spelling_.read(options.words, model_.language());
        documents_.announcer.set_host(&host_);
        client_.number = 1;
        client_.name = "vqcall";
    }

    SessionText text() const override { return SessionText(model_.language()); }

    void call(const Procedure &procedure, Message &argument, Message &result) override
    {
        // A message as it comes over the wire has no null texts.
        Message received(procedure.argument);
        received.copy(argument.address());
        host::Call made{host_, client_, procedure, received.address(), result.address()};
        responder_.respond(made);
        if (made.after)
            made.after();
        console_.check();
    }

    void check_asked() const override
    {
        if (!console_.answers.empty())
            fail("the call has not asked for the answer " +
                 in_quotes(console_.answers.front().words));
    }

    void save() override
    {
        if (file_.differs_from(model_, book_))
            save(book_);
        for (const UIntT each : model_.members(0))
            if (model_.changed(each))
                save(each);
    }

private:
    void save(UIntT document)
    {
        const FileOutcome outcome = documents_.save(document, "", false);
        if (outcome.status != ok)
            fail("not saved: " + outcome.reason);
    }

    BookFile file_;
    Model model_;
    UIntT book_ = 0;
    // The answer alone is written to the standard output.
    PrintingConsole console_{std::cerr, std::cerr};
    Documents documents_{model_};
    Spelling spelling_{console_};
    ModelResponder responder_{{model_, documents_, &spelling_}};
    Host host_{{}, responder_, console_};
    Client client_;
};

} // namespace

std::unique_ptr<Partner> open_book(const BookOptions &options)
{
    return std::make_unique<Book>(options);
}

} // namespace velt::call
