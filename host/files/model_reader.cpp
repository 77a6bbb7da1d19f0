#include "host/files/model_reader.h"

#include <algorithm>
#include <memory>
#include <span>

#include "host/values/kinds.h"

namespace velt::host
{

std::string ModelReader::text(const JsonNode &node) const
{
    const std::string &utf8 = node.text();
    try {
        return session_ ? session_->from_utf8(utf8) : utf8;
    } catch (const std::runtime_error &error) {
        throw JsonError(node, error.what() + std::string(other_language_));
    }
}

void ModelReader::need_object(const JsonNode &node, std::initializer_list<std::string_view> names)
{
    node.need(JsonNode::object);
    expect_names(node, {names.begin(), names.size()}, problems_);
}

void ModelReader::properties(const JsonNode &node, const Set &set)
{
    each_of(node, "properties", [&](const JsonNode &each) { property(each, set); });
}

void ModelReader::property(const JsonNode &node, const Set &set)
{
    node.need(JsonNode::object);
    std::unique_ptr<PropertyKey> key;
    V_TypedValT value{};
    struct Release {
        V_TypedValT &value;
        ~Release() { velt::release(value); }
    } release{value};
    bool keyed = false;
    const auto take = [&](const std::string &name, const JsonNode &part) {
        if (name == "number" || name == "name") {
            if (std::exchange(keyed, true))
                throw JsonError(part, "a property has either a number or a name");
            IntT number = 0;
            if (name == "number")
                decode(number, part);
            key = name == "name" ? std::make_unique<PropertyKey>(text(part))
                                 : std::make_unique<PropertyKey>(number);
            return;
        }
        const IntT kind = kind_of(name);
        if (kind == 0 || value.valType != 0)
            throw JsonError(part, kind == 0 ? "unknown kind of value " + in_quotes(name)
                                            : "a property has one value");
        value.valType = kind;
        fields(value.valType, value.u, [&](const char *, auto &field) {
            decode(field, part);
            return true;
        });
    };
    const bool sound = attempt(problems_, [&] {
        for (const auto &part : node.members)
            attempt(problems_, [&] { take(part.first, part.second); });
    });
    if (!sound)
        return;
    if (!key || value.valType == 0)
        throw JsonError(node, "a property needs \"number\" or \"name\", and a value");
    try {
        set(*key, value);
    } catch (const Error &error) {
        throw JsonError(node, std::string("the property is refused: ") + error.what());
    }
}

} // namespace velt::host
