// Declares the JSON type of traces and messages; code that looks into a value includes values.h.
#pragma once

#include <nlohmann/json_fwd.hpp>

namespace velt::host
{

using Json = nlohmann::ordered_json;

} // namespace velt::host
