// The reports that the host makes to the person of its own accord.
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
    void tell(const std::string &what) { console_.report(what); }
    // Reports on a process that is no client, once a minute for each kind of report, so that one
    // that comes again and again is not reported each time.
    void unknown_process(const std::string &kind, const std::string &what);
    // Reports one line for the transport, which does not handle exceptions.
    static void line(void *reports, const char *what) noexcept;

private:
    Console &console_;
    std::map<std::string, std::chrono::steady_clock::time_point> reported_;
};

} // namespace velt::host
