// Who answers a call: the model of the reference host on a book, or a host in a running session.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/console/printing_console.h"
#include "host/values/text.h"
#include "host/wire/catalogue.h"

namespace velt::call
{

class Partner
{
public:
    virtual ~Partner() = default;

    // The texts of the session.
    virtual host::SessionText text() const = 0;
    // Makes the call. Throws Error when it is not answered.
    virtual void call(const host::Procedure &procedure, host::Message &argument,
                      host::Message &result) = 0;
    // Throws Error for an answer that the call has not asked for.
    virtual void check_asked() const {}
    // Saves what has changed. Throws Error.
    virtual void save() = 0;
};

// How a book of one's own is opened, and who answers its questions.
struct BookOptions {
    std::string path, language, words;
    std::vector<host::Prepared> answers; // to the questions that the call asks, in their order
};

std::unique_ptr<Partner> open_book(const BookOptions &options);

// Joins the session of the program, PROGRAM[@HOST], as a client, and leaves it at the end. It holds
// control for the call. Each answer is waited for up to the limit, in seconds.
std::unique_ptr<Partner> join_session(const std::string &where, UIntT limit);

} // namespace velt::call
