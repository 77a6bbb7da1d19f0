#include "host/files/schema.h"

#include <cstddef>
#include <vector>

#include <nlohmann/json.hpp>

#include "host/values/kinds.h"
#include "host/values/shape.h"

namespace velt::host::schema
{

Json text()
{
    return {{"type", "string"}};
}

Json number(std::int64_t least, std::int64_t most)
{
    return {{"type", "integer"}, {"minimum", least}, {"maximum", most}};
}

Json reference(const char *part)
{
    return {{"$ref", std::string("#/$defs/") + part}};
}

Json object(Json properties, Json required)
{
    return {{"type", "object"},
            {"properties", std::move(properties)},
            {"required", std::move(required)},
            {"additionalProperties", false}};
}

Json list(Json items)
{
    return {{"type", "array"}, {"items", std::move(items)}};
}

namespace
{

// Returns the schema of a value of the type as it stands in a file.
Json schema_of(const Shape &shape)
{
    switch (shape.kind) {
    case Shape::number:
        return number(shape.least, shape.most);
    case Shape::text:
        return text();
    case Shape::pointer:
        return {{"anyOf", {{{"type", "null"}}, schema_of(*shape.element)}}};
    case Shape::list:
        return list(schema_of(*shape.element));
    case Shape::structure:
        break;
    }
    Json properties = Json::object(), required = Json::array();
    std::vector<std::byte> value(shape.size);
    shape.each_field(value.data(), [&](const char *name, const Shape &field, void *) {
        properties[name] = schema_of(field);
        required.push_back(name);
    });
    return object(properties, required);
}

// A property has a number or a name, and one value.
Json property_schema()
{
    Json properties = {{"number", schema_of(shape_of<IntT>)}, {"name", text()}};
    for (const KindName &each : kind_names) {
        V_ValUnionT value{};
        fields(each.kind, value, [&](const char *, auto &field) {
            properties[each.name] = schema_of(shape_of<std::remove_reference_t<decltype(field)>>);
            return true;
        });
    }
    Json property = object(std::move(properties), Json::array());
    property["minProperties"] = property["maxProperties"] = 2;
    property["oneOf"] = {{{"required", {"number"}}}, {{"required", {"name"}}}};
    return property;
}

} // namespace

std::string whole(const char *title, const Json &root, Json parts)
{
    Json schema = {{"$schema", "https://json-schema.org/draft/2020-12/schema"}, {"title", title}};
    schema.update(root);
    parts["property"] = property_schema();
    schema["$defs"] = std::move(parts);
    return schema.dump(2) + "\n";
}

} // namespace velt::host::schema
