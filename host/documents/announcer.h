// Notifies clients of what happens, as they have asked.
#pragma once

#include <string>

#include "host/model/model.h"
#include "host/session/host.h"

namespace velt::host
{

class Announcer
{
public:
    explicit Announcer(Model &model) : model_(model) {}

    // Sets the host whose clients are notified; null when there are none.
    void set_host(Host *host) { host_ = host; }

    // Notifies the clients that have subscribed to the notification, apart from the one that causes
    // it. Any other that holds control is notified when it has handed that back. What a client does
    // in reaction to a notification is told as well, and so on, but only so deep.
    void announce(IntT notification, UIntT object, const std::string &text = {}, IntT number = 0,
                  const Client *cause = nullptr) const;
    // Does so after what is told, which no lack of memory makes undone.
    void announce_done(IntT notification, UIntT object, const std::string &text = {},
                       IntT number = 0, const Client *cause = nullptr) const;
    // Does that for all changes that the model has to tell.
    void announce_changes(const Client *cause = nullptr) const;

private:
    Model &model_;
    Host *host_ = nullptr;
};

} // namespace velt::host
