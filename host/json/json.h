// The JSON of traces and messages, by name only: what looks into it includes values.h.
#pragma once

#include <nlohmann/json_fwd.hpp>

namespace velt::host
{

using Json = nlohmann::ordered_json;

} // namespace velt::host
