// A reserve of memory, so that an operation that runs out of memory can be unwound.
#pragma once

namespace velt
{

// Sets memory aside, which is released when an allocation by `new` fails. Unwinding needs it: the
// destructors of values with lists allocate, and must not throw.
void keep_memory_back();
// Fills the reserve again, between two operations. Throws std::bad_alloc when there is too little
// memory.
void restore_memory();

} // namespace velt
