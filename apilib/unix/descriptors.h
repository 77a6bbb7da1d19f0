// The standard descriptors of a process.
#pragma once

namespace velt
{

// Opens those of the descriptors 0 to 2 that are closed, so that no connection takes their place
// and receives what the process prints. Reading descriptor 0 and writing the others still fails.
void fill_standard_descriptors();

} // namespace velt
