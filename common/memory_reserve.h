// A reserve of memory, so that an operation that runs out of memory can be unwound.
#pragma once

namespace velt
{

// Sets memory aside, which is released when an allocation by `new` fails, so that the operation can
// come to its end, or be unwound.
void keep_memory_back();
// Fills the reserve again, between two operations, if there is enough memory.
void restore_memory();

} // namespace velt
