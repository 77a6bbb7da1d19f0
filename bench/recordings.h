// What a call costs a recording, and its replay.
#pragma once

namespace velt::bench
{

void register_recordings();

} // namespace velt::bench
