#include "host/session/reports.h"

namespace velt::host
{

void Reports::of(const Client &client, const std::string &what)
{
    tell(client.title() + ": " + what);
}

void Reports::unknown_process(const std::string &kind, const std::string &what)
{
    const auto now = std::chrono::steady_clock::now();
    const auto [last, is_new] = reported_.try_emplace(kind, now);
    if (!is_new && now - last->second < std::chrono::minutes(1))
        return;
    last->second = now;
    tell(what);
}

void Reports::line(void *reports, const char *what) noexcept
try {
    static_cast<Reports *>(reports)->tell(what);
} catch (const std::exception &) {
    return;
}

} // namespace velt::host
