// The order of a book's components: a ring through the book and them, in which the book stands
// before the first and behind the last.
#pragma once

#include "host/model/objects.h"

namespace velt::host::books
{

// `place` is the book, or a component of it other than the one that is put there.
void put_after(Objects &objects, Object &component, UIntT place);
// A component that is in no order is its own neighbour.
void take_out(Objects &objects, Object &component);

bool has(const Objects &objects, const Object &book, UIntT component);
// 0 at the ends.
UIntT previous(const Object &component);
UIntT next(const Object &component);
UIntT first(const Object &book);
// All in their order.
std::vector<UIntT> components(const Objects &objects, const Object &book);

} // namespace velt::host::books
