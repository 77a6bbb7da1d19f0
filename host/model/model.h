// The objects that clients work on: the session, books and their components, menus, commands, and
// whatever else a client creates. Each has a type, a name and properties.
#pragma once

#include <functional>

#include "host/model/chains.h"
#include "host/model/clipboard.h"
#include "host/model/dialogs.h"
#include "host/model/find.h"
#include "host/model/items.h"
#include "host/model/lifetime.h"
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
    // Refuses an id that is no open document's.
    void check_is_document(UIntT id) const { objects_.check_is_document(id); }
    // Returns the object that a client addresses by doc and id; (0, 0) is the session, and (doc,
    // doc) the document itself.
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

    // Returns the members of a container in their order: documents of the session 0, flows of a
    // document, paragraphs of a flow.
    std::vector<UIntT> members(UIntT container) const
    {
        return chains::members(objects_, at(container));
    }

    // Creates an object; refuses a name that an object of the type in the document already has,
    // unless it is empty. A component becomes the last of its book.
    UIntT create(UIntT doc, IntT type, const std::string &name);
    // Does the same for a name that the caller knows to be free; the parent may be 0.
    UIntT append(UIntT doc, IntT type, const std::string &name, UIntT parent = 0);
    // Creates an object without a name. A component comes after `previous` in the book, or first
    // when that is 0.
    UIntT create_after(UIntT doc, IntT type, UIntT previous);
    UIntT create_in(UIntT doc, IntT type, UIntT parent);
    // Creates an object that is anchored in the text; the name of its format may be empty, and its
    // own name too, or is one that the caller knows to be free.
    UIntT create_anchored(UIntT doc, IntT type, const V_TextLocT &place,
                          const std::string &format = {}, const std::string &name = {});
    // Removes the object with everything that it contains, but no document, not the last flow of
    // one, and not the last paragraph of a flow.
    void remove(UIntT doc, UIntT id);
    // Keeps clients from deleting the object from now on.
    void keep(UIntT id) { objects_.at(id).stays = true; }

    // A value that is written keeps the kind of the one that it replaces. Of a list, all values are
    // written in their order or, when any is refused, none.
    Value get(UIntT doc, UIntT id, const PropertyKey &key) const;
    void set(UIntT doc, UIntT id, const PropertyKey &key, const V_TypedValT &value);
    void set(UIntT doc, UIntT id, const V_PropValsT &list);
    void remove_property(UIntT doc, UIntT id, const PropertyKey &key);
    std::vector<std::pair<PropertyKey, Value>> properties(UIntT doc, UIntT id) const;
    // Tells which open document a component's file is, or 0. Only those who open files know.
    std::function<UIntT(UIntT component)> document_of;

    // By these functions, the host itself accesses properties of the session and of books.
    UIntT active_book() const;
    void activate(UIntT book);
    UIntT selected(UIntT book) const;
    void select(UIntT book, UIntT component);
    IntT language() const;
    void set_language(IntT number);
    std::string dialog_encoding() const;
    void set_dialog_encoding(const std::string &name);

    // Creates a document with one flow of one empty paragraph, in which the insertion point is.
    UIntT create_document(const std::string &name);
    // Removes the document with everything in it, which takes no memory.
    void close_document(UIntT document);
    // Gives the document what another holds, with that one's properties, and the other what it has
    // held itself, or nothing when memory runs out. It keeps its file and then has no changes.
    void replace_contents(UIntT document, UIntT by);
    UIntT active_document() const;
    void activate_document(UIntT document);
    void set_file(UIntT document, Value path); // which takes no memory
    // Returns whether the document has changes that are not saved; every change of it sets this.
    bool changed(UIntT document) const;
    void set_changed(UIntT document, bool changed);
    V_TextRangeT selection(UIntT document) const;
    void select_text(UIntT document, const V_TextRangeT &range);

    // Edits of a document's text, in which a line end begins a paragraph. They keep all places
    // right that properties hold (marks.h). Adding and replacing return the place after the new
    // text.
    V_TextLocT add_text(UIntT document, const V_TextLocT &place, const std::string &text)
    {
        return replace_text(document, {place, place}, text);
    }
    V_TextLocT replace_text(UIntT document, const V_TextRangeT &range, const std::string &text);
    void remove_text(UIntT document, const V_TextRangeT &range)
    {
        replace_text(document, range, {});
    }
    // Returns the text of the range, with a line end between two paragraphs.
    std::string text(UIntT document, const V_TextRangeT &range) const;
    // These give the properties of the text, and items of it, as text.h and items.h say.
    Properties text_properties(UIntT document, const V_TextLocT &place) const;
    void set_text_properties(UIntT document, const V_TextRangeT &range, const Properties &values)
    {
        set_text_properties(texts::span_at(objects_, document, range), values);
    }
    void set_text_properties(const texts::Span &span, const Properties &values);
    std::vector<TextItem> text_items(UIntT document, UIntT id, UIntT selector) const
    {
        return texts::items_of_object(objects_, document, id, selector);
    }
    std::vector<TextItem> text_items(UIntT document, const V_TextRangeT &range,
                                     UIntT selector) const
    {
        return texts::items_of_range(objects_, texts::span_at(objects_, document, range), selector);
    }
    V_TextRangeT find_text(UIntT document, const V_TextLocT &start,
                           const FindOptions &options) const
    {
        return texts::find(objects_, document, start, options);
    }
    const Characters &characters() const { return objects_.characters; }

    // The clipboard and the document's selection. All refuse when nothing is selected or, to paste,
    // when nothing was copied.
    void copy(UIntT document);
    void clear(UIntT document);
    void cut(UIntT document);
    void paste(UIntT document);
    void push_clipboard() { clipboard_.push(); }
    void pop_clipboard() { clipboard_.pop(); }

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
    // What has happened to text and to components, whichever function did it, and whom to tell it
    // has to be told yet. It is told once of each object.
    struct Change {
        IntT notification;
        UIntT object;
        UIntT paragraph; // the first one that changed, of text
    };
    // Returns the next change, which is told now.
    std::optional<Change> take_change();
    // Drops what would be told of a document's text, because that is new or as it was.
    void forget_change(UIntT document) { changes_.erase({V_notification_text_changed, document}); }

    // Ends the subscriptions of a client that has left the session: nothing is sent to it any more.
    // Its commands stay.
    void forget_subscriptions(int client) { notifications_.forget(client); }

private:
    // Adds an object to those made and to the order of its container.
    Object &add(NewObjects &made, UIntT doc, IntT type, const std::string &name, UIntT parent = 0);
    UIntT create_one(UIntT doc, IntT type, const std::string &name, UIntT parent = 0);
    // Returns the id that the property holds.
    UIntT id_held(UIntT doc, UIntT id, IntT number) const;
    // Writes a property that clients may not write.
    void put(UIntT id, IntT number, Value value);
    // Notes that the object has changed, if it is a document.
    void touch(UIntT id);
    // Notes that text of the document has changed, from the paragraph on or that of a flow.
    void note_text(UIntT changed);
    // Edits text, and notes that before, so that it does not fail when that is done.
    template <class Edit>
    auto edit(UIntT document, UIntT paragraph, Edit edit);
    void write(Object &object, const PropertyKey &key, const V_TypedValT &value);
    // Takes the marks out of paragraphs that are to go, to one that has changed by that.
    void evacuate(const Object &gone);
    texts::Span selected_span(UIntT document) const
    {
        return texts::span_at(objects_, document, selection(document));
    }

    Objects objects_;
    Clipboard clipboard_;
    Notifications notifications_;
    // The changes by notification and object, with the paragraph.
    std::map<std::pair<IntT, UIntT>, UIntT> changes_;
};

} // namespace velt::host
