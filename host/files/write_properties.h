// Writes properties as they stand in book and document files.
#pragma once

#include <functional>
#include <map>

#include "host/json/writer.h"
#include "host/values/text.h"
#include "host/values/value.h"

namespace velt::host
{

// Writes the list "properties" of those that are to be `kept`, unless there are none. What is
// written is the copy of the value that `adjust` has seen.
void write_properties(
    const std::map<PropertyKey, Value> &properties, const SessionText &session, JsonWriter &out,
    const std::function<bool(const PropertyKey &, const Value &)> &kept,
    const std::function<void(V_TypedValT &)> &adjust = [](V_TypedValT &) {});

} // namespace velt::host
