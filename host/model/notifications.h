// The notifications to which each client has subscribed.
#pragma once

#include <set>
#include <utility>

#include "velt/scalars.h"

namespace velt::host
{

class Notifications
{
public:
    void subscribe(int client, IntT code) { all_.emplace(client, code); }
    void unsubscribe(int client, IntT code) { all_.erase({client, code}); }
    bool subscribed(int client, IntT code) const { return all_.contains({client, code}); }
    void forget(int client)
    {
        std::erase_if(all_, [=](const auto &each) { return each.first == client; });
    }

private:
    std::set<std::pair<int, IntT>> all_;
};

} // namespace velt::host
