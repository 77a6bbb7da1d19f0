// The standard descriptors of a process.
#pragma once

namespace velt
{

// Opens those of the descriptors 0 to 2 that are closed, so that no connection takes their place
// and gets what is printed. Reading the first and writing the others fails as before.
void fill_standard_descriptors();

} // namespace velt
