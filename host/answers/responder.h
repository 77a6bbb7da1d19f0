// The responder that answers the calls of clients from the model.
#pragma once

#include "host/documents/documents.h"
#include "host/model/model.h"
#include "host/session/host.h"
#include "host/spelling/spelling.h"

namespace velt::host
{

// What answers work on, apart from the session.
struct Workplace {
    Model &model;
    Documents &documents;
    Spelling *spelling = nullptr; // null in a session that checks no spelling
};

class ModelResponder : public Responder
{
public:
    explicit ModelResponder(const Workplace &workplace) : workplace_(workplace) {}

    // Answers a procedure without an answer function with the status not_supported, if its result
    // has a status.
    Reaction respond(Call &call) override;
    void client_exited(int number) override { workplace_.model.forget_subscriptions(number); }

private:
    Workplace workplace_;
};

} // namespace velt::host
