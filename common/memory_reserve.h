// Memory kept back for the way out of an operation that there is none left for.
#pragma once

namespace velt
{

// From now on an allocation by `new` that fails gets what has been kept back: values with lists in
// them allocate when they are destroyed, where nothing may be thrown.
void keep_memory_back();
// Between two operations. Throws std::bad_alloc when what was used cannot be had again.
void restore_memory();

} // namespace velt
