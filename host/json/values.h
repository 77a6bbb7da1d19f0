// Converts values of every type of the tables to JSON and back. Fields stand in wire order and by
// name; the caller supplies the conversion of texts to UTF-8 and back.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/json/node.h"
#include "host/values/shape.h"

namespace velt::host
{

// Receives the parts of a value in order.
class JsonOut
{
public:
    virtual ~JsonOut() = default;
    virtual void begin(char bracket) = 0;
    virtual void end(char bracket) = 0;
    virtual void key(std::string_view name) = 0;
    virtual void text(std::string_view text) = 0;
    virtual void number(std::int64_t number) = 0;
    virtual void null() = 0;
};

using ToUtf8 = std::function<std::string(const char *bytes)>;
// It is given a node that is a text, and throws JsonError.
using FromUtf8 = std::function<std::string(const JsonNode &node)>;

// Writes a value of the shape.
void write_value(const Shape &shape, void *value, JsonOut &out, const ToUtf8 &to_utf8);

// What becomes of fields that are missing: that is a mistake, or they stay zero.
enum class Missing { refused, zero };

// Reads a node into a value of the shape, which is filled with zeros. What has been allocated
// before an error belongs to the value, which its owner releases. Throws JsonError for a mistake in
// the node itself, and adds those further inside to the problems.
void read_value(const Shape &shape, void *value, const JsonNode &node, const FromUtf8 &from_utf8,
                std::vector<JsonError> &problems, Missing missing = Missing::refused);

} // namespace velt::host
