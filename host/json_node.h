// JSON with the line on which each value ends, so that what is wrong can be pointed at.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace velt::host
{

struct JsonNode {
    enum Type { scalar, array, object };
    Type type = scalar;
    int line = 1;
    nlohmann::json value = {};
    std::vector<std::pair<std::string, JsonNode>> members = {}; // without names in an array
};

class JsonError : public std::runtime_error
{
public:
    JsonError(int at, const std::string &reason) : std::runtime_error(reason), line(at) {}
    int line;
};

// Throws JsonError, also for a name that stands twice in an object.
JsonNode parse_json(std::string_view text);

} // namespace velt::host
