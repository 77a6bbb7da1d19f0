// Carries out one point in a process of its own, with which all ends that the point has begun.
#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace velt::host
{

// Thrown by a point when the client is not as it should be. Without its own, what is expected is
// what the point checks, and what is advised is the advice of the point.
struct Violation {
    std::string seen, expected = {}, advice = {};
};
// The advice where nothing is known to help.
inline const std::string no_advice = "none";

// Thrown by a point that does not apply to the client.
struct Skipped {
    std::string reason;
};

struct Verdict {
    enum Kind : char { good = 'g', skipped = 's', bad = 'b', impossible = 'i' } kind = bad;
    std::string seen = {}; // also the reason of a point that is skipped
    std::string expected = {}, advice = {};
    std::string output = {}; // the end of what client and host have printed
};

// Has another process carry out the point, and ends that after the limit. Whatever the point has
// started has ended then, too, also what has left its group or ignores signals. Throws Interrupted,
// and Error when the host cannot do its part.
Verdict in_arena(const std::function<void()> &point, std::chrono::milliseconds limit);

} // namespace velt::host
