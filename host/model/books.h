// The order of a book's components: a ring of the book and its components, in which the book stands
// before the first and after the last.
#pragma once

#include "host/model/objects.h"

namespace velt::host::books
{

// Puts the component after `place`, which is the book or another component of it.
void put_after(Objects &objects, Object &component, UIntT place);
// Takes the component out of the ring and makes it its own neighbour.
void take_out(Objects &objects, Object &component);

bool has(const Objects &objects, const Object &book, UIntT component);
// These return 0 at the ends of the order.
UIntT previous(const Object &component);
UIntT next(const Object &component);
UIntT first(const Object &book);
// Returns all components in their order.
std::vector<UIntT> components(const Objects &objects, const Object &book);

} // namespace velt::host::books
