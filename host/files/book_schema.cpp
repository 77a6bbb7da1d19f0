// Generates the JSON Schema of book files from the tables by which they are read.

#include <limits>

#include "host/files/book.h"
#include "host/json/values.h"
#include "host/values/kinds.h"
#include "velt/vde/language.h"

namespace velt::host
{
namespace
{

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

// Returns the schema of a value of the type as it stands in a file.
template <class T>
Json schema_of(T)
{
    if constexpr (std::is_same_v<T, StringT>) {
        return {{"type", "string"}};
    } else if constexpr (std::is_pointer_v<T>) {
        return {{"anyOf", {{{"type", "null"}}, schema_of(std::remove_pointer_t<T>{})}}};
    } else if constexpr (List<T>) {
        return list(schema_of(Element<T>{}));
    } else if constexpr (Record<T>) {
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
        return {{"type", "integer"}, {"minimum", Limits::min()}, {"maximum", Limits::max()}};
    }
}

// A property has a number or a name, and one value.
Json property_schema()
{
    Json properties = {{"number", schema_of(IntT{})}, {"name", {{"type", "string"}}}};
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

std::string book_schema()
{
    Json languages = Json::array(), encodings = {""};
#define V_LANGUAGE(number, name, encoding) languages.push_back(#name);
#include "velt/tables/languages.def"
    for (const char *each : dialog_encodings)
        encodings.push_back(each);
    const Json text = {{"type", "string"}};
    const Json properties = list({{"$ref", "#/$defs/property"}});
    Json book = object(
        {{"title", text},
         {"language", {{"enum", languages}, {"default", V_LanguageString(V_language_usenglish)}}},
         {"dialogEncoding", {{"enum", encodings}}},
         {"selected", {{"type", {"string", "integer"}}}},
         {"properties", properties},
         {"components", list({{"$ref", "#/$defs/component"}})}},
        {"title", "components"});
    Json schema = {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
                   {"title", "A book of vqhost"}};
    schema.update(book);
    schema["$defs"] = {
        {"component",
         object({{"name", text}, {"file", text}, {"properties", properties}}, {"name"})},
        {"property", property_schema()}};
    return schema.dump(2) + "\n";
}

} // namespace velt::host
