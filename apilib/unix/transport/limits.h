// The limits that the transport reads and V_ApiSetLimit sets.
#pragma once

#include "velt/scalars.h"

namespace velt
{

struct Limits {
#define V_LIMIT(number, name, value, meaning) UIntT name = value;
#include "velt/tables/limits.def"
};

extern Limits limits;

} // namespace velt
