#include "host/files/schema.h"

#include <limits>

#include "host/json/values.h"
#include "host/values/kinds.h"

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
template <class T>
Json schema_of(T)
{
    if constexpr (std::is_same_v<T, StringT>) {
        return text();
    } else if constexpr (std::is_pointer_v<T>) {
        return {{"anyOf", {{{"type", "null"}}, schema_of(std::remove_pointer_t<T>{})}}};
    } else if constexpr (List<T>) {
        return list(schema_of(Element<T>{}));
    } else if constexpr (Struct<T>) {
        Json properties = Json::object(), required = Json::array();
        T value{};
        fields(value, [&](const char *name, auto &field) {
            properties[name] = schema_of(field);
            required.push_back(name);
            return true;
        });
        return object(properties, required);
    } else {
        using Limits = std::numeric_limits<T>;
        return number(Limits::min(), Limits::max());
    }
}

// A property has a number or a name, and one value.
Json property_schema()
{
    Json properties = {{"number", schema_of(IntT{})}, {"name", text()}};
    for (const KindName &each : kind_names) {
        V_ValUnionT value{};
        fields(each.kind, value, [&](const char *, auto &field) {
            properties[each.name] = schema_of(field);
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
