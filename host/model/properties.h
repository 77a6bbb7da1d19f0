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
#define V_ANY_PROPERTY(number, kind, name, meaning) inline constexpr IntT name = number;
#include "velt/tables/properties.def"
} // namespace property

namespace properties
{

// Adds the properties that every object of the type has.
void add_own(Object &made);
Value get(const Object &from, const PropertyKey &key);
// Refuses a value that a client may not write.
void check_writable(const Objects &objects, const Object &to, const PropertyKey &key,
                    const V_TypedValT &value);
// Writes a value that may be written. Returns the object that it moves in the order of its
// container, or 0.
UIntT set(Objects &objects, Object &to, const PropertyKey &key, const V_TypedValT &value);
// Writes a property that clients may not write.
void put(Objects &objects, Object &to, const PropertyKey &key, Value value);
void remove(Objects &objects, Object &from, const PropertyKey &key);
// Refuses what is no property or no value.
void check_valid(const PropertyKey &key, const V_TypedValT &value);
std::vector<std::pair<PropertyKey, Value>> all(const Object &of);

} // namespace properties
} // namespace velt::host
