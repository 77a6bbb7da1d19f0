// JSON with the place of each value, so that what is wrong can be pointed at.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "common/error.h"
#include "common/printable.h"

namespace velt::host
{

struct JsonNode {
    enum Type { scalar, array, object };
    Type type = scalar;
    int line = 1, column = 1; // where it begins, in characters
    nlohmann::json value = {};
    std::vector<std::pair<std::string, JsonNode>> members = {}; // without names in an array
    const JsonNode *parent = nullptr;
    std::size_t index = 0; // in the parent's members

    // As in components[3].properties[0]; empty for the root.
    std::string path() const;
    // Of an object, by its name; null when there is none.
    const JsonNode *member(std::string_view name) const;
    // Throws JsonError unless it is of the type.
    void need(Type wanted) const;
};

class JsonError : public Error
{
public:
    JsonError(int at_line, int at_column, const std::string &reason)
        : Error(misused, printable(reason)), line(at_line), column(at_column)
    {
    }
    JsonError(const JsonNode &node, const std::string &reason);
    int line, column;
};

// Carries on behind what is wrong, which it keeps; whether nothing was.
template <class Action>
bool attempt(std::vector<JsonError> &problems, Action action)
{
    const std::size_t before = problems.size();
    try {
        action();
    } catch (const JsonError &error) {
        problems.push_back(error);
    }
    return problems.size() == before;
}

// Reads a text into the root. Throws JsonError where it is no JSON; what can be read all the same,
// such as a name that stands twice in an object, comes back as a list.
std::vector<JsonError> parse_json(std::string_view text, JsonNode &root);

} // namespace velt::host
