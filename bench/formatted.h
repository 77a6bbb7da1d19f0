// Formatted output beside the C library's.
#pragma once

namespace velt::bench
{

void register_formatted();

} // namespace velt::bench
