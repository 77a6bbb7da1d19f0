// The host's own answers to the calls of clients: those of the model.
#pragma once

#include "host/model/model.h"
#include "host/session/host.h"

namespace velt::host
{

class ModelResponder : public Responder
{
public:
    explicit ModelResponder(Model &model) : model_(model) {}

    // A procedure without an answer is not supported, which its result says if it can.
    Reaction respond(Call &call) override;
    void client_gone(int number) override { model_.forget_subscriptions(number); }

private:
    Model &model_;
};

} // namespace velt::host
