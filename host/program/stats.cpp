#include "host/program/stats.h"

#include <iostream>

#include "common/options.h"
#include "host/program/arguments.h"
#include "host/scenario/statistics.h"

namespace velt::host
{

int stats(int argc, char **argv)
{
    bool json = false;
    const auto files = parse_options(argc, argv, {Option::flag(0, "json", json)});
    if (files.size() != 1)
        misuse_of_program("stats needs one recording");
    Recording recording(files[0]);
    const SessionText text(recording.language());
    Statistics statistics(text);
    bool is_empty = true;
    while (const std::optional<RecordedEvent> event = recording.next()) {
        statistics.add(*event);
        is_empty = false;
    }
    if (is_empty)
        misuse(files[0] + ": there is nothing to count: it has no event");
    if (recording.cut_off())
        std::cerr << "vqhost: " << printable(files[0]) << " was cut off; what it has was counted"
                  << std::endl;
    if (!(std::cout << (json ? statistics.json() : statistics.table()) << std::flush))
        fail("what it printed could not be written");
    return done;
}

} // namespace velt::host
