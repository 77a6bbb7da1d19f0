// The commands on properties.

#include <optional>

#include "host/script/commands.h"
#include "host/values/kinds.h"

namespace velt::host
{
void Commands::get(std::string_view rest)
{
    const auto [of, key] = window_.take_property(rest, "get OBJECT PROPERTY");
    if (!rest.empty())
        misuse("usage: get OBJECT PROPERTY");
    s_.out << window_.shown(s_.model.get(of.doc, of.id, key)) << std::endl;
}

void Commands::set(std::string_view rest)
{
    constexpr std::string_view usage = "set OBJECT PROPERTY VALUE";
    const auto [of, key] = window_.take_property(rest, usage);
    if (rest.empty())
        misuse("usage: " + std::string(usage));
    const std::string text = whole(rest);
    const std::optional<Value> old = window_.value(of, key);
    const IntT wanted = old                                               ? old->kind()
                        : is_whole_number(text) && !rest.starts_with('"') ? kind::integer
                                                                          : kind::string;
    switch (wanted) {
    case kind::string:
        return s_.model.set(of.doc, of.id, key, Value::string(window_.sent(text)).get());
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
    const Window::Address of = window_.object(whole(rest));
    for (const auto &[key, value] : s_.model.properties(of.doc, of.id))
        s_.out << window_.property_title(of, key) << ", " << name_of_kind(value.kind()) << ": "
               << window_.shown(value) << "\n";
    s_.out << std::flush;
}

} // namespace velt::host
