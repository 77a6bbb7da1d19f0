// Fuzzes the files of scenarios and recordings.

#include "host/scenario/scenario.h"

#include <sstream>

#include "fuzz/input.h"
#include "host/scenario/statistics.h"
#include "velt/vde/language.h"

using namespace velt::host;

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    try {
        const Scenario scenario = parse_scenario(text, "scenario", V_language_usenglish);
        require(scenario.root != nullptr, "a scenario keeps its text");
    } catch (const velt::Error &) {
        // It is told what is wrong.
    }
    try {
        Recording recording(std::make_unique<std::istringstream>(std::string(text)), "recording");
        const SessionText session(recording.language());
        Statistics statistics(session);
        while (const auto event = recording.next()) {
            require(!event->text().empty(), "an event can be told");
            statistics.add(*event);
        }
        require(!statistics.table().empty(), "what was counted can be told");
    } catch (const velt::Error &) {
        return 0;
    }
    return 0;
}
