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
    explicit MessageSchemas(const char *prefix, Json text) : prefix_(prefix), text_(std::move(text))
    {
    }
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
            return text_;
        case Shape::pointer:
            return {{"anyOf", {{{"type", "null"}}, of(*shape.element)}}};
        case Shape::list:
            return schema::list(of(*shape.element));
        case Shape::structure:
            break;
        }
        const auto [name, fresh] =
            names_.try_emplace(&shape, prefix_ + std::to_string(names_.size()));
        if (fresh) {
            Json properties = Json::object();
            each_possible_field(shape, [&](std::string_view field, const Shape &type) {
                const bool is_status = field == "status" && type.kind == Shape::number;
                properties[field] = is_status ? named_status(type) : of(type);
            });
            Json made = schema::object(std::move(properties), Json::array());
            each_tagged_field(shape, [&](const std::string &field, const char *tag,
                                         const std::vector<std::int64_t> &values) {
                Json &needed = made["dependentSchemas"][field];
                needed["properties"][tag] = {{"enum", values}};
                if (values.back() != 0) // which a tag is that is left out
                    needed["required"].push_back(tag);
            });
            all_[name->second] = std::move(made);
        }
        return schema::reference(name->second.c_str());
    }

    const std::string prefix_;
    const Json text_;
    std::map<const Shape *, std::string> names_;
    Json all_ = Json::object();
};

// A step that names a procedure. What it says of its messages is chosen by that name, so that a
// checker looks at a step, and what is in it, once.
class Step
{
public:
    Step(const char *named, Json properties) : named_(named), properties_(std::move(properties)) {}

    // Procedures whose messages are alike are told together.
    void add(std::string_view name, const Json &messages)
    {
        names_.push_back(name);
        alike_[messages.dump()].push_back(name);
    }
    Json take()
    {
        Json cases = Json::array();
        for (const auto &[messages, names] : alike_)
            cases.push_back({{"if", {{"properties", {{named_, {{"enum", names}}}}}}},
                             {"then", {{"properties", Json::parse(messages)}}}});
        properties_[named_] = {{"enum", names_}};
        // What is let here is for the cases to refuse.
        properties_["arguments"] = Json::object();
        Json made = schema::object(std::move(properties_), {named_});
        if (made["properties"].contains("nth"))
            made["not"] = {{"required", {"times", "nth"}}};
        made["allOf"] = std::move(cases);
        return made;
    }

private:
    const char *named_;
    Json properties_, names_ = Json::array();
    std::map<std::string, Json> alike_;
};

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
    const auto one_of = [](Json schemas) { return Json{{"anyOf", std::move(schemas)}}; };
    Json part = object({{"contains", text()}}, {"contains"});
    part["properties"]["contains"]["minLength"] = 1;
    MessageSchemas messages("type", text()), expected("expected", one_of({text(), part}));
    Step call("call",
              {{"times",
                one_of({count,
                        {{"const", "any"}},
                        {{"type", "array"}, {"items", count}, {"minItems", 2}, {"maxItems", 2}}})},
               {"nth", number(1, UINT32_MAX)},
               {"delay", {{"type", "number"}, {"minimum", 0}, {"maximum", 86400}}},
               // What is sent before an answer begins no turn of the client.
               {"before", list({{"allOf", {reference("hostCall")}},
                                {"properties", {{"steps", false}, {"end", false}}}})},
               {"in", host_calls},
               {"after", host_calls},
               {"answer", Json::object()}});
    for (const Procedure &each : host_procedures())
        if (!is_of_start(each.name)) {
            Json said = {{"arguments", expected.of(each.argument)},
                         {"answer", one_of({words, messages.of_result(each.result)})}};
            if (each.number != procedure::api_vq_modal_dialog_1::number)
                said["in"] = false;
            call.add(each.name, said);
        }
    call.add("*", {{"arguments", messages.of(MessageType{})}, {"answer", words}});
    Step host_call("callback", {{"steps", list(reference("call"))},
                                {"end", {{"enum", {"handed back", "exited", "any"}}}}});
    for (const Procedure &each : client_procedures())
        if (!is_of_start(each.name)) {
            Json said = {{"arguments", messages.of(each.argument)}};
            if (!is_handed_back(each.number))
                said.update({{"steps", false}, {"end", false}});
            host_call.add(each.name, said);
        }
    Json parts = {{"call", call.take()}, {"hostCall", host_call.take()}};
    parts.update(messages.take());
    parts.update(expected.take());
    const Json step = {{"if", {{"required", {"callback"}}}},
                       {"then", reference("hostCall")},
                       {"else", reference("call")}};
    const Json root = object({{"$schema", text()},
                              {"format", number(1, 1)},
                              {"language", {{"enum", languages}}},
                              {"others", {{"enum", {"fail", "model"}}}},
                              {"order", {{"enum", {"any", "file"}}}},
                              {"steps", list(step)}},
                             {"steps"});
    return whole("A scenario of vqhost", root, std::move(parts));
}

} // namespace velt::host
