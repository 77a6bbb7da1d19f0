// The commands on properties.

#include <algorithm>
#include <optional>

#include "host/script/commands.h"
#include "host/values/kinds.h"

namespace velt::host
{
void Commands::get(std::string_view rest)
{
    std::string_view words = rest;
    const std::string object(trimmed(take_raw_word(words)));
    const std::string property(trimmed(words));
    const auto [of, key] = window_.take_property(rest, usage_of("get"));
    if (!rest.empty())
        misuse_of("get");
    try {
        s_.out << window_.shown(s_.model.get(of.doc, of.id, key)) << std::endl;
    } catch (const StatusError &error) {
        if (error.status() != no_such_property)
            throw;
        fail(object + " has no property " + property + "; props " + object + " lists them");
    }
}

void Commands::set(std::string_view rest)
{
    const auto [of, key] = window_.take_property(rest, usage_of("set"));
    if (rest.empty())
        misuse_of("set");
    const std::string text = whole(rest);
    const std::optional<Value> old = window_.value(of, key);
    const IntT wanted = old                                               ? old->kind()
                        : is_whole_number(text) && !rest.starts_with('"') ? kind::integer
                                                                          : kind::string;
    if (key.number == property::name && of.doc == s_.book && !text.empty()) {
        const Object *holder = s_.model.find(s_.book, object_type::component, window_.sent(text));
        const auto all = s_.model.components(s_.book);
        if (holder && holder->id != of.id)
            fail("component " +
                 std::to_string(std::ranges::find(all, holder->id) - all.begin() + 1) +
                 " has the name \"" + text + "\" already");
    }
    const std::string name = name_of_kind(wanted);
    switch (wanted) {
    case kind::string:
        return s_.model.set(of.doc, of.id, key, Value::string(window_.sent(text)).get());
    case kind::id:
    case kind::integer:
    case kind::metric:
    case kind::integer_11:
    case kind::integer_16:
        if (!is_whole_number(text))
            misuse(window_.property_title(of, key) + " is " +
                   (name.starts_with('i') ? "an " : "a ") + name + "; only a number fits");
        return s_.model.set(of.doc, of.id, key,
                            (wanted == kind::id ? Value::id(number<UIntT>(text))
                                                : Value::integer(number<IntT>(text), wanted))
                                .get());
    }
    fail("set writes numbers and texts; this property's kind is " + name);
}

void Commands::props(std::string_view rest)
{
    if (rest.empty())
        misuse_of("props");
    const Window::Address of = window_.object(whole(rest));
    for (const auto &[key, value] : s_.model.properties(of.doc, of.id))
        s_.out << window_.property_title(of, key) << ", " << name_of_kind(value.kind()) << ": "
               << window_.shown(value) << "\n";
    s_.out << std::flush;
}

} // namespace velt::host
