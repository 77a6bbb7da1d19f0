#include "host/scenario/pattern.h"

#include <algorithm>
#include <cstdint>
#include <functional>

#include "host/json/writer.h"

namespace velt::host
{
namespace
{

void write_node(const JsonNode &node, JsonWriter &out)
{
    if (node.type != JsonNode::scalar) {
        const bool list = node.type == JsonNode::array;
        out.begin(list ? '[' : '{');
        for (const auto &[name, member] : node.members) {
            if (!list)
                out.key(name);
            write_node(member, out);
        }
        return out.end(list ? ']' : '}');
    }
    if (const auto *text = std::get_if<std::string>(&node.value))
        return out.text(*text);
    if (const auto number = node.integer(INT64_MIN, INT64_MAX))
        return out.number(*number);
    out.null();
}

// Compares, and stops at the first difference unless it has to list them.
class Comparison
{
public:
    Comparison(const SessionText &text, std::vector<Difference> *list) : text_(text), list_(list) {}

    // Returns whether to go on.
    bool compare(const Shape &shape, void *value, const JsonNode &wanted, const std::string &path)
    {
        std::size_t count = 0;
        switch (shape.kind) {
        case Shape::number: {
            const auto number = wanted.integer(shape.least, shape.most);
            return number == shape.get(value) || differ(shape, value, wanted, path);
        }
        case Shape::text: {
            const StringT bytes = *static_cast<StringT *>(value);
            const std::string is = text_.to_utf8(bytes ? bytes : "");
            const JsonNode *part = contained(wanted);
            return (part ? is.find(part->text()) != std::string::npos
                         : wanted.is_text() && is == wanted.text()) ||
                   differ(shape, value, wanted, path);
        }
        case Shape::pointer: {
            void *const to = shape.elements(value, count);
            if (to && !wanted.is_null())
                return compare(*shape.element, to, wanted, path);
            return (!to && wanted.is_null()) || differ(shape, value, wanted, path);
        }
        case Shape::list:
            return compare_list(shape, value, wanted, path);
        case Shape::structure:
            return compare_fields(shape, value, wanted, path);
        }
        return false;
    }

private:
    bool compare_list(const Shape &shape, void *value, const JsonNode &wanted,
                      const std::string &path)
    {
        std::size_t count = 0;
        auto *element = static_cast<std::byte *>(shape.elements(value, count));
        if (wanted.type != JsonNode::array || wanted.members.size() != count)
            return differ(shape, value, wanted, path);
        for (std::size_t i = 0; i < count; i++, element += shape.element->size)
            if (!compare(*shape.element, element, wanted.members[i].second,
                         list_ ? path + "[" + std::to_string(i) + "]" : path))
                return false;
        return true;
    }

    bool compare_fields(const Shape &shape, void *value, const JsonNode &wanted,
                        const std::string &path)
    {
        if (wanted.type != JsonNode::object)
            return differ(shape, value, wanted, path);
        bool goes_on = true;
        std::size_t found = 0;
        const auto path_of = [&](std::string_view name) {
            return list_ ? path + (path.empty() ? "" : ".") + std::string(name) : path;
        };
        shape.each_field(value, [&](const char *name, const Shape &of, void *field) {
            const JsonNode *part = wanted.member(name);
            found += part != nullptr;
            if (goes_on && part)
                goes_on = compare(of, field, *part, path_of(name));
        });
        // A union has other fields when its tag is another.
        return goes_on && (found == wanted.members.size() || differ(shape, value, wanted, path));
    }

    bool differ(const Shape &shape, void *value, const JsonNode &wanted, const std::string &path)
    {
        if (!list_)
            return false;
        JsonWriter is(JsonWriter::one_line);
        write_value(shape, value, is, [&](const char *bytes) { return text_.to_utf8(bytes); });
        list_->push_back({path, is.take(), json_of(wanted)});
        return true;
    }

    const SessionText &text_;
    std::vector<Difference> *list_;
};

} // namespace

const JsonNode *contained(const JsonNode &node)
{
    const JsonNode *part = node.type == JsonNode::object ? node.member("contains") : nullptr;
    return part && part->is_text() && node.members.size() == 1 ? part : nullptr;
}

std::string json_of(const JsonNode &node)
{
    JsonWriter out(JsonWriter::one_line);
    write_node(node, out);
    return out.take();
}

bool matches(const Shape &shape, void *value, const JsonNode &wanted, const SessionText &text)
{
    return Comparison(text, nullptr).compare(shape, value, wanted, {});
}

std::vector<Difference> differences(const Shape &shape, void *value, const JsonNode &wanted,
                                    const SessionText &text)
{
    std::vector<Difference> list;
    Comparison(text, &list).compare(shape, value, wanted, {});
    return list;
}

void fill(const MessageType &type, void *message, const JsonNode *fields, const SessionText &text)
{
    if (!fields || !type.shape)
        return;
    std::vector<JsonError> problems;
    read_value(
        *type.shape, message, *fields,
        [&](const JsonNode &node) { return text.from_utf8(node.text()); }, problems, Missing::zero);
    if (!problems.empty())
        throw JsonError(problems.front());
}

} // namespace velt::host
