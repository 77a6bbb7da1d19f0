// What the host tells the person of its own accord.
#pragma once

#include <chrono>
#include <map>
#include <string>

#include "host/console/console.h"
#include "host/session/client.h"

namespace velt::host
{

class Reports
{
public:
    explicit Reports(Console &console) : console_(console) {}

    void of(const Client &client, const std::string &what);
    // Of a kind once a minute: who comes again and again is not told of each time.
    void stranger(const std::string &kind, const std::string &what);
    // For the transport, which knows no exceptions.
    static void line(void *reports, const char *what) noexcept;

private:
    Console &console_;
    std::map<std::string, std::chrono::steady_clock::time_point> strangers_;
};

} // namespace velt::host
