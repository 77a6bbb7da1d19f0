// The responder that answers the calls of clients from the model.
#pragma once

#include "host/model/model.h"
#include "host/session/host.h"

namespace velt::host
{

class ModelResponder : public Responder
{
public:
    explicit ModelResponder(Model &model) : model_(model) {}

    // Answers a procedure without an answer function with the status not_supported, if its result
    // has a status.
    Reaction respond(Call &call) override;
    void client_gone(int number) override { model_.forget_subscriptions(number); }

private:
    Model &model_;
};

} // namespace velt::host
