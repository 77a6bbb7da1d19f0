// All fields that messages may have, whatever the tags of their unions are.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/values/shape.h"

namespace velt::host
{

// Visits each field of a structure once, in wire order.
void each_possible_field(const Shape &structure,
                         const std::function<void(const char *name, const Shape &)> &visit);

// Visits each field that a structure has for some values of a number in it only, with these.
void each_tagged_field(const Shape &structure,
                       const std::function<void(const std::string &name, const char *tag,
                                                const std::vector<std::int64_t> &)> &visit);

// Visits each field of a value, and those within it: by a path of their names, in front of which
// stands `before`. The elements of a list have the path of the list.
void each_path(const Shape &shape, const std::string &before,
               const std::function<void(const std::string &path, const Shape &)> &visit);

} // namespace velt::host
