// The commands on properties.

#include <algorithm>
#include <cctype>
#include <optional>

#include "apilib/wire/fields.h"
#include "host/script/commands.h"
#include "host/trace/trace.h"
#include "host/values/kinds.h"

namespace velt::host
{
namespace
{

struct Named {
    IntT type, number;
    std::string_view name;
};
constexpr Named named_properties[] = {
#define V_PROPERTY(number, kind, object, name, rule, meaning) {object_type::object, number, #name},
#include "velt/tables/properties.def"
};

std::string_view name_of(IntT type, IntT number)
{
    for (const Named &each : named_properties)
        if (each.type == type && each.number == number)
            return each.name;
    return {};
}

bool whole_number(std::string_view text)
{
    const std::string_view digits = text.substr(text.starts_with('-'));
    return !digits.empty() &&
           std::ranges::all_of(digits, [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

std::string Commands::shown(const Value &value) const
{
    V_TypedValT typed = value.get();
    if (typed.valType == kind::id)
        return std::to_string(static_cast<UIntT>(typed.u.intVal));
    Json json;
    fields(typed.valType, typed.u, [&](const char *, auto &field) {
        json = to_json(field);
        return true;
    });
    return json.is_string() ? shown(json.get_ref<const std::string &>())
                            : printable_json(decoded(json, text_).dump());
}

Commands::Address Commands::object(const std::string &name) const
{
    if (name == "session")
        return {0, 0};
    if (name == "book")
        return {0, s_.book};
    return {s_.book, component(name)};
}

PropertyKey Commands::property(Address of, const std::string &name) const
{
    if (whole_number(name))
        return PropertyKey(number<IntT>(name));
    const IntT type = s_.model.object(of.doc, of.id).type;
    for (const Named &each : named_properties)
        if (each.type == type && each.name == name)
            return PropertyKey(each.number);
    return PropertyKey(sent(name));
}

std::pair<Commands::Address, PropertyKey> Commands::take_property(std::string_view &rest,
                                                                  std::string_view usage) const
{
    const std::string of = take_word(rest);
    const std::string name = take_word(rest);
    if (of.empty() || name.empty())
        misuse("usage: " + std::string(usage));
    const Address address = object(of);
    return {address, property(address, name)};
}

std::optional<Value> Commands::value(Address of, const PropertyKey &key) const
{
    for (auto &[each, value] : s_.model.properties(of.doc, of.id))
        if (each == key)
            return value;
    return {};
}

void Commands::get(std::string_view rest)
{
    const auto [of, key] = take_property(rest, "get OBJECT PROPERTY");
    if (!rest.empty())
        misuse("usage: get OBJECT PROPERTY");
    s_.out << shown(s_.model.get(of.doc, of.id, key)) << std::endl;
}

void Commands::set(std::string_view rest)
{
    constexpr std::string_view usage = "set OBJECT PROPERTY VALUE";
    const auto [of, key] = take_property(rest, usage);
    if (rest.empty())
        misuse("usage: " + std::string(usage));
    const std::string text = whole(rest);
    const std::optional<Value> old = value(of, key);
    const IntT wanted = old                                            ? old->kind()
                        : whole_number(text) && !rest.starts_with('"') ? kind::integer
                                                                       : kind::string;
    switch (wanted) {
    case kind::string:
        return s_.model.set(of.doc, of.id, key, Value::string(sent(text)).get());
    case kind::id:
        return s_.model.set(of.doc, of.id, key, Value::id(number<UIntT>(text)).get());
    case kind::integer:
    case kind::metric:
    case kind::integer_11:
    case kind::integer_16:
        return s_.model.set(of.doc, of.id, key, Value::integer(number<IntT>(text), wanted).get());
    }
    fail("set writes numbers and texts; this property's kind is " +
         std::string(name_of_kind(wanted)));
}

void Commands::props(std::string_view rest)
{
    if (rest.empty())
        misuse("usage: props OBJECT");
    const Address of = object(whole(rest));
    const IntT type = s_.model.object(of.doc, of.id).type;
    for (const auto &[key, value] : s_.model.properties(of.doc, of.id)) {
        const std::string name =
            key.number == 0 ? as_word(shown(key.name)) : std::string(name_of(type, key.number));
        if (key.number != 0)
            s_.out << key.number << (name.empty() ? "" : " ");
        s_.out << name << ", " << name_of_kind(value.kind()) << ": " << shown(value) << "\n";
    }
    s_.out << std::flush;
}

} // namespace velt::host
