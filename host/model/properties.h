// The properties of objects, and what may be written into those that have a meaning of their own.
#pragma once

#include <utility>
#include <vector>

#include "host/model/objects.h"

namespace velt::host
{

namespace property
{
#define V_PROPERTY(number, kind, object, name, rule, meaning) inline constexpr IntT name = number;
#include "velt/tables/properties.def"
} // namespace property

namespace properties
{

// Adds the properties that every object of the type has.
void add_own(Object &made);
Value get(const Object &from, const PropertyKey &key);
void set(Objects &objects, Object &to, const PropertyKey &key, const V_TypedValT &value);
void remove(Object &from, const PropertyKey &key);
std::vector<std::pair<PropertyKey, Value>> all(const Object &of);

} // namespace properties
} // namespace velt::host
