// A book as a person sees it: components and menus by what they are called, properties by name, all
// of it in UTF-8 and fit to print.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/model/model.h"
#include "host/values/text.h"

namespace velt::host
{

class Window
{
public:
    Window(Model &model, UIntT book, const SessionText &text)
        : model_(model), book_(book), text_(text)
    {
    }

    // Prints the book window: the title, the components in order, the menus.
    void show(std::ostream &out, bool colour) const;

    // Returns the names of the components in their order.
    std::vector<std::string> order() const;
    // Returns a component by its name or its number in the window. Without one, the first function
    // throws Error and the second returns 0.
    UIntT component(std::string_view name) const;
    UIntT find_component(std::string_view name) const;
    // Returns the items of the context menu and the menu bar, and of the menus in them.
    std::vector<const Object *> menu_items() const;
    // Returns what a menu shows for the item.
    std::string label(const Object &item) const;

    std::string shown(std::string_view bytes) const { return text_.shown(bytes); }
    std::string shown(const Value &value) const;
    // Returns the text in the session's encoding. Throws Error for a character that this lacks.
    std::string sent(const std::string &text) const;

    // A person calls an object session, book, or by the name of a component as `component` finds
    // it, and a property of it by its number, its name in the table of properties, or its own name.
    struct Address {
        UIntT doc, id;
    };
    Address object(const std::string &name) const;
    PropertyKey property(Address of, const std::string &name) const;
    // Takes the names of an object and a property from the beginning of the rest.
    std::pair<Address, PropertyKey> take_property(std::string_view &rest,
                                                  std::string_view usage) const;
    // Returns the names by which it finds properties.
    std::vector<std::string> property_names(Address of) const;
    std::optional<Value> value(Address of, const PropertyKey &key) const;
    // Returns the property's number and its name in properties.def, or the property's own name.
    std::string property_title(Address of, const PropertyKey &key) const;

private:
    void collect(UIntT menu, std::vector<const Object *> &items) const;
    void show_menu(std::ostream &out, UIntT menu, int depth) const;

    Model &model_;
    UIntT book_;
    const SessionText &text_;
};

} // namespace velt::host
