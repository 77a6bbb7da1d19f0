// What the host answers when it refuses a call.
#pragma once

#include <exception>

#include "velt/scalars.h"

namespace velt::host
{

// 0 is success. The names are those of docs/man/vqhost.1, with `-` for `_`.
enum Status : IntT {
    ok = 0,
    no_such_document = -2, // the document or book that the call names does not exist
    no_such_object = -3,   // the object does not exist, or not in that document
    no_such_property = -4, // the object has no property of that number or name
    wrong_kind = -6,       // the property has, or the object needs, a value of another kind
    bad_value = -8,        // the value cannot be had: a neighbour in another book, a name in use
    not_permitted = -9,    // the property is the host's own, or the object is to stay
    not_supported = -60,   // the host has no model behind the procedure
};

// Thrown by the model; its caller turns it into the status of an answer.
class Refusal : public std::exception
{
public:
    explicit Refusal(Status status) : status_(status) {}
    Status status() const { return status_; }
    const char *what() const noexcept override;

private:
    Status status_;
};

} // namespace velt::host
