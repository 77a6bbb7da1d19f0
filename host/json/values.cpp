#include "host/json/values.h"

#include <algorithm>
#include <cmath>

#include <nlohmann/json.hpp>

#include "host/json/writer.h"

namespace velt::host
{
namespace
{

void *element(const Shape &list, void *first, std::size_t index)
{
    return static_cast<std::byte *>(first) + index * list.element->size;
}

// Returns the condition on which a structure has a field that it does not have as it is; empty for
// one that it never has.
std::string when_there(const Shape &shape, void *structure, std::string_view wanted)
{
    constexpr std::int64_t most = 99; // no kind of value has a greater number
    std::string when;
    shape.each_field(structure, [&](const char *key, const Shape &of, void *field) {
        if (of.kind != Shape::number || !when.empty())
            return;
        const std::int64_t is = of.get(field);
        // What is no kind of value comes last.
        for (std::int64_t i = 1; i <= most + 1 && when.empty(); i++) {
            const std::int64_t number = i % (most + 1);
            of.set(field, number);
            shape.each_field(structure, [&](const char *name, const Shape &, void *) {
                if (name == wanted)
                    when = in_quotes(wanted) + " is there when " + in_quotes(key) + " is " +
                           std::to_string(number) + ", and not when it is " + std::to_string(is);
            });
        }
        of.set(field, is);
    });
    return when;
}

} // namespace

void write_value(const Shape &shape, void *value, JsonOut &out, const ToUtf8 &to_utf8)
{
    std::size_t count = 0;
    switch (shape.kind) {
    case Shape::number:
        return out.number(shape.get(value));
    case Shape::text: {
        const StringT text = *static_cast<StringT *>(value);
        return out.text(to_utf8(text ? text : ""));
    }
    case Shape::pointer: {
        void *const to = shape.elements(value, count);
        return to ? write_value(*shape.element, to, out, to_utf8) : out.null();
    }
    case Shape::list: {
        void *const first = shape.elements(value, count);
        out.begin('[');
        for (std::size_t i = 0; i < count; i++)
            write_value(*shape.element, element(shape, first, i), out, to_utf8);
        return out.end(']');
    }
    case Shape::structure:
        out.begin('{');
        shape.each_field(value, [&](const char *name, const Shape &of, void *field) {
            out.key(name);
            write_value(of, field, out, to_utf8);
        });
        return out.end('}');
    }
}

void read_value(const Shape &shape, void *value, const JsonNode &node, const FromUtf8 &from_utf8,
                std::vector<JsonError> &problems, Missing missing)
{
    switch (shape.kind) {
    case Shape::number: {
        const auto number = node.integer(shape.least, shape.most);
        if (!number)
            throw JsonError(node, "a whole number from " + std::to_string(shape.least) + " to " +
                                      std::to_string(shape.most) + " is needed here");
        return shape.set(value, *number);
    }
    case Shape::text:
        *static_cast<StringT *>(value) = owned_string(from_utf8(node));
        return;
    case Shape::pointer: {
        if (node.is_null())
            return;
        shape.make(value, 1);
        std::size_t count = 0;
        return read_value(*shape.element, shape.elements(value, count), node, from_utf8, problems,
                          missing);
    }
    case Shape::list: {
        node.need(JsonNode::array);
        shape.make(value, node.members.size());
        std::size_t count = 0;
        void *const first = shape.elements(value, count);
        for (std::size_t i = 0; i < count; i++)
            attempt(problems, [&] {
                read_value(*shape.element, element(shape, first, i), node.members[i].second,
                           from_utf8, problems, missing);
            });
        return;
    }
    case Shape::structure: {
        node.need(JsonNode::object);
        std::vector<std::string_view> names;
        shape.each_field(value, [&](const char *name, const Shape &of, void *field) {
            names.push_back(name);
            if (const JsonNode *part = node.member(name))
                attempt(problems,
                        [&] { read_value(of, field, *part, from_utf8, problems, missing); });
            else if (missing == Missing::refused)
                problems.emplace_back(node, std::string("\"") + name + "\" is missing");
        });
        return expect_names(node, names, problems,
                            [&](std::string_view name) { return when_there(shape, value, name); });
    }
    }
}

void JsonWriter::real(double number)
{
    separate();
    out_ += nlohmann::json(number).dump();
}

void JsonWriter::seconds(std::string_view name, double time)
{
    key(name);
    real(std::round(1e6 * time) / 1e6);
}

void JsonWriter::quote(std::string_view text)
{
    const bool plain = std::ranges::all_of(
        text, [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; });
    if (!plain) {
        out_ += nlohmann::json(text).dump();
        return;
    }
    out_ += '"';
    out_ += text;
    out_ += '"';
}

} // namespace velt::host
