// The objects that clients work on: the session, books and their components, menus, commands, and
// whatever else a client creates. Each has a type, a name and properties.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/values/status.h"
#include "host/values/value.h"

namespace velt::host
{

namespace object_type
{
#define V_OBJECT_TYPE(number, name, meaning) inline constexpr IntT name = number;
#include "velt/tables/object_types.def"
} // namespace object_type

namespace property
{
#define V_PROPERTY(number, kind, object, name, rule, meaning) inline constexpr IntT name = number;
#include "velt/tables/properties.def"
} // namespace property

// The menus that are there from the start.
inline constexpr const char *book_context_menu = "!BookContextMenu";
inline constexpr const char *menu_bar = "!MenuBar";

struct Object {
    UIntT document; // the book or document that holds it, or 0
    UIntT id;
    IntT type;
    std::string name;
    bool stays = false;              // no client may delete it
    UIntT parent = 0;                // for one created in another
    std::vector<UIntT> members = {}; // a book's components, a menu's items, in order
    std::map<PropertyKey, Value> properties = {};

    // Of commands and menus.
    int client = 0; // that defined it
    IntT command = 0;
    std::string label = {};
    std::string shortcut = {};
};

// Functions throw StatusError with the status that the client is to get. Names, labels and strings
// are in the session's own encoding.
class Model
{
public:
    Model();

    // Refuses when doc is neither 0 nor a document or book.
    void check_document(UIntT doc) const;
    // doc and id as a client addresses them; (0, 0) is the session.
    Object &object(UIntT doc, UIntT id);
    const Object &object(UIntT doc, UIntT id) const;
    // By its id alone; it must exist.
    Object &at(UIntT id) { return objects_.at(id); }
    const Object &at(UIntT id) const { return objects_.at(id); }
    // The first of the type and name; null when there is none.
    const Object *find(UIntT doc, IntT type, std::string_view name) const;
    // All, by rising id.
    const std::map<UIntT, Object> &objects() const { return objects_; }

    // A named object's name is not used twice for a type in a document. A component joins its book
    // as the last.
    UIntT create(UIntT doc, IntT type, const std::string &name);
    // The same for a name of which the caller knows that it is free.
    UIntT append(UIntT doc, IntT type, const std::string &name);
    // After `previous` in the book, or first when that is 0.
    UIntT create_after(UIntT doc, IntT type, UIntT previous);
    UIntT create_in(UIntT doc, IntT type, UIntT parent);
    // With everything that it contains.
    void remove(UIntT doc, UIntT id);

    // A value that is written keeps the kind of the one that it replaces.
    Value get(UIntT doc, UIntT id, const PropertyKey &key) const;
    void set(UIntT doc, UIntT id, const PropertyKey &key, const V_TypedValT &value);
    void remove_property(UIntT doc, UIntT id, const PropertyKey &key);
    std::vector<std::pair<PropertyKey, Value>> properties(UIntT doc, UIntT id) const;

    // The host's own access to the properties above.
    UIntT active_book() const;
    void activate(UIntT book);
    UIntT selected(UIntT book) const;
    void select(UIntT book, UIntT component);
    IntT language() const;
    void set_language(IntT number);
    std::string dialog_encoding() const;
    void set_dialog_encoding(const std::string &name);

    // The commands of a client have names of their own; one that is defined again is replaced.
    UIntT define_command(int client, IntT number, const std::string &name, const std::string &label,
                         const std::string &shortcut);
    UIntT define_menu(int client, const std::string &name, const std::string &label);
    // The menu by its name; refuses when there is none.
    UIntT menu(std::string_view name) const;
    void add_to_menu(UIntT menu, UIntT item);
    void remove_from_menu(UIntT menu, UIntT item);
    // Whether the item is in the menu, or, when deep, in a menu below.
    bool in_menu(UIntT menu, UIntT item, bool deep) const;

    void subscribe(int client, IntT notification, bool wanted);
    bool subscribed(int client, IntT notification) const;
    // The client has left the session: nothing is sent to it any more. Its commands stay.
    void forget_subscriptions(int client);

private:
    Object &add(UIntT doc, IntT type, const std::string &name);
    const Object &of_type(UIntT id, IntT type) const;
    // Writes what a client may not.
    void put(UIntT id, IntT number, Value value);
    void move(const Object &component, UIntT neighbour, bool after);
    void rename(Object &named, const std::string &name);

    std::map<UIntT, Object> objects_;
    std::set<std::pair<int, IntT>> subscriptions_;
    UIntT next_id_ = 1;
};

} // namespace velt::host
