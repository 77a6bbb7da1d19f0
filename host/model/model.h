// The objects that clients work on: the session, books and their components, menus, commands, and
// whatever else a client creates. Each has a type, a name and properties.
#pragma once

#include "host/model/chains.h"
#include "host/model/dialogs.h"
#include "host/model/menus.h"
#include "host/model/notifications.h"
#include "host/model/properties.h"

namespace velt::host
{

// The functions throw StatusError with the status that the client is to get. Names, labels and
// strings are in the session's own encoding.
class Model
{
public:
    Model();

    // Refuses a doc that is neither 0 nor a document or book.
    void check_document(UIntT doc) const { objects_.check_document(doc); }
    // Returns the object that a client addresses by doc and id; (0, 0) is the session.
    const Object &object(UIntT doc, UIntT id) const { return objects_.addressed(doc, id); }
    // Returns the object of the id, which must exist.
    const Object &at(UIntT id) const { return objects_.at(id); }
    // Returns the first object of the type and name, or null.
    const Object *find(UIntT doc, IntT type, std::string_view name) const
    {
        return objects_.find(doc, type, name);
    }
    // Returns a book's components in their order.
    std::vector<UIntT> components(UIntT book) const
    {
        return chains::members(objects_, object(0, book));
    }

    // Creates an object; refuses a name that an object of the type in the document already has,
    // unless it is empty. A component becomes the last of its book.
    UIntT create(UIntT doc, IntT type, const std::string &name);
    // Does the same for a name that the caller knows to be free.
    UIntT append(UIntT doc, IntT type, const std::string &name);
    // Creates an object without a name. A component comes after `previous` in the book, or first
    // when that is 0.
    UIntT create_after(UIntT doc, IntT type, UIntT previous);
    UIntT create_in(UIntT doc, IntT type, UIntT parent);
    // Creates a document with one flow of one empty paragraph.
    UIntT create_document(const std::string &name);
    // Removes the object with everything that it contains.
    void remove(UIntT doc, UIntT id);
    // Keeps clients from deleting the object from now on.
    void keep(UIntT id) { objects_.at(id).stays = true; }

    // A value that is written keeps the kind of the one that it replaces.
    Value get(UIntT doc, UIntT id, const PropertyKey &key) const
    {
        return properties::get(object(doc, id), key);
    }
    void set(UIntT doc, UIntT id, const PropertyKey &key, const V_TypedValT &value)
    {
        properties::set(objects_, objects_.addressed(doc, id), key, value);
    }
    void remove_property(UIntT doc, UIntT id, const PropertyKey &key)
    {
        properties::remove(objects_.addressed(doc, id), key);
    }
    std::vector<std::pair<PropertyKey, Value>> properties(UIntT doc, UIntT id) const
    {
        return properties::all(object(doc, id));
    }

    // By these functions, the host itself accesses properties of the session and of books.
    UIntT active_book() const;
    void activate(UIntT book);
    UIntT selected(UIntT book) const;
    void select(UIntT book, UIntT component);
    IntT language() const;
    void set_language(IntT number);
    std::string dialog_encoding() const;
    void set_dialog_encoding(const std::string &name);

    // Each client has its own names for its commands; a command that is defined again is replaced.
    UIntT define_command(int client, IntT number, const std::string &name, const std::string &label,
                         const std::string &shortcut)
    {
        return menus::define_command(objects_, client, number, name, label, shortcut);
    }
    UIntT define_menu(int client, const std::string &name, const std::string &label)
    {
        return menus::define_menu(objects_, client, name, label);
    }
    // Returns the menu of the name; refuses when there is none.
    UIntT menu(std::string_view name) const { return menus::menu(objects_, name); }
    bool shortcut_exists(std::string_view shortcut) const
    {
        return menus::shortcut_exists(objects_, shortcut);
    }
    void add_to_menu(UIntT menu, UIntT item) { menus::add(objects_, menu, item); }
    void remove_from_menu(UIntT menu, UIntT item) { menus::remove(objects_, menu, item); }
    // Returns whether the item is in the menu or, when deep, in a menu below it.
    bool in_menu(UIntT menu, UIntT item, bool deep) const
    {
        return menus::has(objects_, menu, item, deep);
    }

    // Returns the client's dialog of the name, or creates it; the same for an item of a dialog.
    UIntT dialog(int client, const std::string &name)
    {
        return dialogs::dialog(objects_, client, name);
    }
    UIntT dialog_item(UIntT dialog, IntT number) { return dialogs::item(objects_, dialog, number); }

    void subscribe(int client, IntT notification, bool wanted)
    {
        wanted ? notifications_.subscribe(client, notification)
               : notifications_.unsubscribe(client, notification);
    }
    bool subscribed(int client, IntT notification) const
    {
        return notifications_.subscribed(client, notification);
    }
    // Ends the subscriptions of a client that has left the session: nothing is sent to it any more.
    // Its commands stay.
    void forget_subscriptions(int client) { notifications_.forget(client); }

private:
    Object &add(UIntT doc, IntT type, const std::string &name, UIntT parent = 0);
    // Writes a property that clients may not write.
    void put(UIntT id, IntT number, Value value);

    Objects objects_;
    Notifications notifications_;
};

} // namespace velt::host
