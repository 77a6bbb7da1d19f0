#include "host/script/window.h"

#include <algorithm>
#include <iomanip>

#include "common/words.h"
#include "host/json/writer.h"
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

} // namespace

std::string Window::label(const Object &item) const
{
    return shown(item.label.empty() ? item.name : item.label);
}

void Window::show(std::ostream &out, bool colour) const
{
    const auto paint = [&](const char *code, const std::string &text) {
        return colour ? std::string("\033[") + code + "m" + text + "\033[0m" : text;
    };
    const Object &book = model_.object(0, book_);
    const UIntT selected = model_.selected(book_);
    out << paint("1", shown(book.name)) << "\n";
    int position = 0;
    const auto components = model_.components(book_);
    for (UIntT id : components) {
        const std::string text = shown(model_.at(id).name);
        out << (id == selected ? "> " : "  ") << std::setw(2) << ++position << "  "
            << (id == selected ? paint("7", text) : text) << "\n";
    }
    if (components.empty())
        out << "  (no components)\n";
    out << "Context menu:\n";
    show_menu(out, model_.menu(book_context_menu), 1);
    if (const UIntT bar = model_.menu(menu_bar); !model_.at(bar).items.empty()) {
        out << "Menu bar:\n";
        show_menu(out, bar, 1);
    }
    out << std::flush;
}

void Window::show_menu(std::ostream &out, UIntT menu, int depth) const
{
    const std::string indent(static_cast<std::size_t>(2 * depth), ' ');
    if (model_.at(menu).items.empty())
        out << indent << "(empty)\n";
    for (UIntT id : model_.at(menu).items) {
        const Object &item = model_.at(id);
        out << indent << label(item);
        if (!item.shortcut.empty())
            out << "  " << shown(item.shortcut);
        out << "\n";
        if (item.type == object_type::menu)
            show_menu(out, id, depth + 1);
    }
}

void Window::collect(UIntT menu, std::vector<const Object *> &items) const
{
    for (UIntT id : model_.at(menu).items) {
        const Object &item = model_.at(id);
        if (item.type == object_type::menu)
            collect(id, items);
        else
            items.push_back(&item);
    }
}

std::vector<const Object *> Window::menu_items() const
{
    std::vector<const Object *> items;
    collect(model_.menu(book_context_menu), items);
    collect(model_.menu(menu_bar), items);
    return items;
}

std::vector<std::string> Window::order() const
{
    std::vector<std::string> names;
    for (UIntT id : model_.components(book_))
        names.push_back(shown(model_.at(id).name));
    return names;
}

UIntT Window::component(std::string_view name) const
{
    if (const UIntT found = find_component(name))
        return found;
    fail("no component \"" + std::string(name) + "\"; there are: " + joined(order()));
}

UIntT Window::find_component(std::string_view name) const
{
    const auto names = order();
    const auto members = model_.components(book_);
    // Names are compared as they are shown.
    const auto found = find_by_name_or_number(names, printable_line(name));
    return found ? members[*found] : 0;
}

std::string Window::sent(const std::string &text) const
{
    try {
        return text_.from_utf8(text);
    } catch (const std::runtime_error &error) {
        fail(error.what());
    }
}

std::string Window::shown(const Value &value) const
{
    V_TypedValT typed = value.get();
    if (typed.valType == kind::id)
        return std::to_string(static_cast<UIntT>(typed.u.intVal));
    std::string text;
    fields(typed.valType, typed.u, [&](const char *, auto &field) {
        using T = std::remove_reference_t<decltype(field)>;
        if constexpr (std::is_same_v<T, StringT>) {
            text = text_.shown(field ? field : "");
        } else {
            JsonWriter json(JsonWriter::one_line);
            write_value(shape_of<T>, &field, json,
                        [this](const char *bytes) { return text_.to_utf8(bytes); });
            text = printable_json(json.take());
        }
        return true;
    });
    return text;
}

Window::Address Window::object(const std::string &name) const
{
    if (name == "session")
        return {0, 0};
    if (name == "book")
        return {0, book_};
    return {book_, component(name)};
}

PropertyKey Window::property(Address of, const std::string &name) const
{
    if (is_whole_number(name))
        return PropertyKey(number<IntT>(name));
    const IntT type = model_.object(of.doc, of.id).type;
    for (const Named &each : named_properties)
        if (each.type == type && each.name == name)
            return PropertyKey(each.number);
    return PropertyKey(sent(name));
}

std::pair<Window::Address, PropertyKey> Window::take_property(std::string_view &rest,
                                                              std::string_view usage) const
{
    const bool quoted = rest.starts_with('"');
    const std::string of = take_word(rest);
    const std::string name = take_word(rest);
    if (of.empty() || name.empty())
        misuse("usage: " + std::string(usage));
    const auto find_object = [&] {
        try {
            return object(of);
        } catch (const Error &error) {
            if (quoted || rest.empty())
                throw;
            throw Error(error.code, error.what() + std::string("; one with blanks needs quotes"));
        }
    };
    const Address address = find_object();
    return {address, property(address, name)};
}

std::vector<std::string> Window::property_names(Address of) const
{
    std::vector<std::string> names;
    const IntT type = model_.object(of.doc, of.id).type;
    for (const Named &each : named_properties)
        if (each.type == type)
            names.emplace_back(each.name);
    for (const auto &[key, value] : model_.properties(of.doc, of.id))
        if (key.number == 0)
            names.push_back(shown(key.name));
    return names;
}

std::optional<Value> Window::value(Address of, const PropertyKey &key) const
{
    for (auto &[each, value] : model_.properties(of.doc, of.id))
        if (each == key)
            return value;
    return {};
}

std::string Window::property_title(Address of, const PropertyKey &key) const
{
    if (key.number == 0)
        return as_word(shown(key.name));
    const std::string_view name = name_of(model_.object(of.doc, of.id).type, key.number);
    return std::to_string(key.number) + (name.empty() ? "" : " ") + std::string(name);
}

} // namespace velt::host
