// Converts values of every type of the tables to JSON and back. Fields stand in wire order and by
// name; the caller supplies the conversion of texts to UTF-8 and back.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <nlohmann/json.hpp>

#include "apilib/wire/fields.h"
#include "host/json/json.h"
#include "host/json/node.h"
#include "host/values/owned.h"

namespace velt::host
{

// Writes a value to `out`, a JsonWriter or a JsonTree, which receives each part in order.
template <class T, class Out, class ToUtf8>
void write_value(T &value, Out &out, const ToUtf8 &to_utf8)
{
    if constexpr (std::is_same_v<T, StringT>) {
        out.text(to_utf8(value ? value : ""));
    } else if constexpr (std::is_pointer_v<T>) {
        value ? write_value(*value, out, to_utf8) : out.null();
    } else if constexpr (List<T>) {
        out.begin('[');
        for (UIntT i = 0; value.val && i < value.len; i++)
            write_value(value.val[i], out, to_utf8);
        out.end(']');
    } else if constexpr (Record<T>) {
        out.begin('{');
        fields(value, [&](const char *name, auto &field) {
            out.key(name);
            write_value(field, out, to_utf8);
            return true;
        });
        out.end('}');
    } else {
        out.number(value);
    }
}

// Builds a tree from the parts that it receives.
class JsonTree
{
public:
    void begin(char bracket);
    void end(char) { open_.pop_back(); }
    void key(const char *name) { key_ = name; }
    void text(std::string_view text) { add(text); }
    void number(std::int64_t number) { add(number); }
    void null() { add(nullptr); }

    Json take() { return std::move(root_); }

private:
    Json &add(Json value);

    Json root_;
    std::vector<Json *> open_;
    const char *key_ = nullptr;
};

template <class T, class ToUtf8>
Json to_json(T &value, const ToUtf8 &to_utf8)
{
    JsonTree tree;
    write_value(value, tree, to_utf8);
    return tree.take();
}

// Converts a value to a tree in which each text keeps its bytes as they are.
template <class T>
Json to_json(T &value)
{
    return to_json(value, [](const char *bytes) { return std::string_view(bytes); });
}

// Returns whether the value is an integer in the range, so that no digit is cut off silently.
bool fits(const nlohmann::json &value, std::int64_t least, std::int64_t most);

// Reads values from nodes; it adds mistakes to the problems and goes on.
template <class FromUtf8>
class ValueReader
{
public:
    // `from_utf8` is given a node that is a text, and throws JsonError.
    ValueReader(FromUtf8 from_utf8, std::vector<JsonError> &problems)
        : from_utf8_(std::move(from_utf8)), problems_(problems)
    {
    }

    // Reads a node into a value that is filled with zeros. What has been allocated before an error
    // belongs to the value, which its owner releases. Throws JsonError for a mistake in the node
    // itself, and adds those further inside to the problems.
    template <class T>
    void read(T &value, const JsonNode &node)
    {
        if constexpr (std::is_same_v<T, StringT>) {
            value = owned_string(from_utf8_(node));
        } else if constexpr (std::is_pointer_v<T>) {
            if (node.type == JsonNode::scalar && node.value.is_null())
                return;
            value = owned_record<std::remove_pointer_t<T>>();
            read(*value, node);
        } else if constexpr (List<T>) {
            node.need(JsonNode::array);
            value = owned_list<T>(node.members.size());
            for (UIntT i = 0; i < value.len; i++)
                attempt(problems_, [&] { read(value.val[i], node.members[i].second); });
        } else if constexpr (Record<T>) {
            node.need(JsonNode::object);
            std::size_t taken = 0;
            fields(value, [&](const char *name, auto &field) {
                const JsonNode *part = node.member(name);
                if (!part)
                    problems_.emplace_back(node, std::string("\"") + name + "\" is missing");
                else
                    attempt(problems_, [&] { read(field, *part); });
                taken += part != nullptr;
                return true;
            });
            if (taken != node.members.size())
                throw JsonError(node, "a name that does not belong here");
        } else {
            using Limits = std::numeric_limits<T>;
            if (!fits(node.value, Limits::min(), Limits::max()))
                throw JsonError(node, "a whole number from " + std::to_string(Limits::min()) +
                                          " to " + std::to_string(Limits::max()) +
                                          " is needed here");
            value = node.value.get<T>();
        }
    }

private:
    FromUtf8 from_utf8_;
    std::vector<JsonError> &problems_;
};

} // namespace velt::host
