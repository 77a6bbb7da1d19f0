// JSON whose values know their places in the text, so that an error message can point at them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "common/error.h"
#include "common/printable.h"

namespace velt::host
{

struct JsonNode {
    enum Type { scalar, array, object };
    Type type = scalar;
    int line = 1, column = 1; // where the value begins, in characters
    // What a scalar is; a number is of the first type that holds it.
    std::variant<std::nullptr_t, bool, std::int64_t, std::uint64_t, double, std::string> value = {};
    std::vector<std::pair<std::string, JsonNode>> members = {}; // the names are empty in an array
    const JsonNode *parent = nullptr;
    std::size_t index = 0; // in the parent's members

    // Returns a path such as components[3].properties[0]; empty for the root.
    std::string path() const;
    // Returns the member of an object by its name, or null.
    const JsonNode *member(std::string_view name) const;
    // Throws JsonError unless the node is of the type.
    void need(Type wanted) const;
    bool is_null() const { return type == scalar && value.index() == 0; }
    bool is_text() const { return std::holds_alternative<std::string>(value); }
    // Returns the number if the node is an integer in the range, so that no digit is cut off
    // silently.
    std::optional<std::int64_t> integer(std::int64_t least, std::int64_t most) const;
    // Returns any number, of whose digits some may be lost.
    std::optional<double> real() const;
    // Returns the text in UTF-8. Throws JsonError if the node is none, or holds the character 0.
    const std::string &text() const;
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

// Runs the action and adds the JsonError that it throws to the problems, so that the caller can go
// on. Returns whether the action has added no problem.
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

// Adds a problem for each member of an object that has none of these names: why not, which is empty
// for a name that is unknown.
using WhyNot = std::function<std::string(std::string_view name)>;
void expect_names(const JsonNode &node, std::span<const std::string_view> names,
                  std::vector<JsonError> &problems, const WhyNot &why_not = {});

// Parses a text into the root. Throws JsonError if the text is no JSON. Returns a list of the
// mistakes in spite of which it can be read, such as a name that stands twice in an object.
std::vector<JsonError> parse_json(std::string_view text, JsonNode &root);

// Parses a file's text into the root and has `read` read that, which adds problems. Throws Error
// with a line for each mistake, which begins with the path, and with line and column if the mistake
// has a place in the text.
void read_nodes(std::string_view text, const std::string &path, JsonNode &root,
                const std::function<void(std::vector<JsonError> &problems)> &read);

} // namespace velt::host
