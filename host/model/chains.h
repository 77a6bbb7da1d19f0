// The order of objects in what contains them: of components in a book, flows in a document,
// paragraphs in a flow, and documents in the session.
#pragma once

#include "host/model/objects.h"

namespace velt::host::chains
{

// Returns the type of what contains objects of the type in an order, or 0.
IntT container_type(IntT type);
// Returns whether the id is that of an object with a place in the container's order.
bool has(const Objects &objects, const Object &container, UIntT id);

// Puts the object directly after `previous` in the order of its container, or first when that is 0.
void put_after(Objects &objects, Object &member, UIntT previous);
// Takes the object out of the order.
void take_out(Objects &objects, Object &member);

// Returns all members in their order.
std::vector<UIntT> members(const Objects &objects, const Object &container);

} // namespace velt::host::chains
