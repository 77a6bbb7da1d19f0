// The JSON Schema of scenarios, from the catalogue of procedures.

#include <map>

#include "host/files/schema.h"
#include "host/scenario/scenario.h"
#include "host/scenario/shape_fields.h"
#include "host/values/status.h"
#include "velt/vde/language.h"

namespace velt::host
{
namespace
{

using schema::Json;

// The schemas of parts of messages, in which any field may be left out. Each type has one, to which
// the others refer.
class MessageSchemas
{
public:
    Json of(const MessageType &type)
    {
        return type.shape ? of(*type.shape) : Json{{"not", Json::object()}};
    }
    // A bare number may be the name of a status.
    Json of_result(const MessageType &type)
    {
        return type.shape && type.shape->kind == Shape::number ? named_status(*type.shape)
                                                               : of(type);
    }
    Json take() { return std::move(all_); }

private:
    Json named_status(const Shape &shape)
    {
        return {{"anyOf", {of(shape), {{"enum", status_names()}}}}};
    }
    Json of(const Shape &shape)
    {
        switch (shape.kind) {
        case Shape::number:
            return schema::number(shape.least, shape.most);
        case Shape::text:
            return schema::text();
        case Shape::pointer:
            return {{"anyOf", {{{"type", "null"}}, of(*shape.element)}}};
        case Shape::list:
            return schema::list(of(*shape.element));
        case Shape::structure:
            break;
        }
        const auto [name, fresh] =
            names_.try_emplace(&shape, "type" + std::to_string(names_.size()));
        if (fresh) {
            Json properties = Json::object();
            each_possible_field(shape, [&](std::string_view field, const Shape &type) {
                const bool is_status = field == "status" && type.kind == Shape::number;
                properties[field] = is_status ? named_status(type) : of(type);
            });
            all_[name->second] = schema::object(std::move(properties), Json::array());
        }
        return schema::reference(name->second.c_str());
    }

    std::map<const Shape *, std::string> names_;
    Json all_ = Json::object();
};

// A step for each of the procedures that scenarios can have.
Json steps_of(std::span<const Procedure> procedures, const char *named, const Json &others,
              const auto &add_result, MessageSchemas &messages)
{
    Json all = Json::array();
    for (const Procedure &each : procedures) {
        if (is_of_start(each.name))
            continue;
        Json properties = others;
        properties[named] = {{"const", each.name}};
        properties["arguments"] = messages.of(each.argument);
        add_result(properties, each);
        all.push_back(schema::object(std::move(properties), {named}));
    }
    return all;
}

} // namespace

std::string scenario_schema()
{
    using namespace schema;
    Json languages = Json::array();
#define V_LANGUAGE(number, name, encoding) languages.push_back(#name);
#include "velt/tables/languages.def"
    const Json host_calls = list(reference("hostCall"));
    const Json count = number(0, UINT32_MAX);
    const Json words = {{"enum", {"model", "none", "error", "half", "close"}}};
    const Json call = {
        {"times",
         {{"anyOf",
           {count,
            {{"const", "any"}},
            {{"type", "array"}, {"items", count}, {"minItems", 2}, {"maxItems", 2}}}}}},
        {"nth", number(1, UINT32_MAX)},
        {"delay", {{"type", "number"}, {"minimum", 0}, {"maximum", 86400}}},
        {"before", host_calls},
        {"in", host_calls},
        {"after", host_calls}};
    const Json host_call = {{"steps", list(reference("call"))},
                            {"end", {{"enum", {"handed back", "exited", "any"}}}}};
    MessageSchemas messages;
    Json calls = steps_of(
        host_procedures(), "call", call,
        [&](Json &properties, const Procedure &each) {
            properties["answer"] = {{"anyOf", {words, messages.of_result(each.result)}}};
        },
        messages);
    Json any = call;
    any["call"] = {{"const", "*"}};
    any["answer"] = words;
    calls.push_back(object(any, {"call"}));
    Json parts = {{"call", {{"oneOf", calls}}},
                  {"hostCall",
                   {{"oneOf", steps_of(
                                  client_procedures(), "callback", host_call,
                                  [](Json &, const Procedure &) {}, messages)}}}};
    parts.update(messages.take());
    const Json root =
        object({{"$schema", text()},
                {"format", number(1, 1)},
                {"language", {{"enum", languages}}},
                {"others", {{"enum", {"fail", "model"}}}},
                {"order", {{"enum", {"any", "file"}}}},
                {"steps", list({{"anyOf", {reference("call"), reference("hostCall")}}})}},
               {"steps"});
    return whole("A scenario of vqhost", root, std::move(parts));
}

} // namespace velt::host
