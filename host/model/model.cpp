#include "host/model/model.h"

#include "host/model/marks.h"
#include "velt/vde/language.h"

namespace velt::host
{
namespace
{

bool has_text(IntT type)
{
    return type == object_type::flow || type == object_type::paragraph;
}

bool addressed_alone(IntT type)
{
    return type == object_type::document || type == object_type::book ||
           type == object_type::menu || type == object_type::command;
}

} // namespace

Model::Model()
{
    Object &session = objects_.add(0, object_type::session, {});
    properties::add_own(session);
    keep(session.id);
    set_dialog_encoding("");
    for (const char *menu : {book_context_menu, menu_bar})
        keep(define_menu(0, menu, ""));
}

Object &Model::add(NewObjects &made, UIntT doc, IntT type, const std::string &name, UIntT parent)
{
    check(type > 0 && type != object_type::session, bad_value);
    check_document(doc);
    check(doc == 0 || !addressed_alone(type), wrong_kind);
    if (parent == doc) // which is what everything in it is part of
        parent = 0;
    const IntT container_type = chains::container_type(type);
    if (container_type != 0) {
        check(doc != 0 || type == object_type::document, no_such_document);
        // A paragraph stands in the first flow unless it is created in another.
        if (type == object_type::paragraph && parent == 0)
            parent = at(doc).first;
        check(at(parent != 0 ? parent : doc).type == container_type, wrong_kind);
    }
    Object &one = made.add(doc, type, name, parent);
    properties::add_own(one);
    if (container_type != 0)
        chains::put_after(objects_, one, at(one.container()).last);
    // A document is never without a flow, nor a flow without a paragraph.
    if (type == object_type::flow)
        add(made, doc, object_type::paragraph, {}, one.id);
    if (type == object_type::document) {
        const UIntT paragraph = add(made, one.id, object_type::flow, {}).first;
        select_text(one.id, {{paragraph, 0}, {paragraph, 0}});
    }
    return one;
}

UIntT Model::create_one(UIntT doc, IntT type, const std::string &name, UIntT parent)
{
    NewObjects made(objects_);
    const UIntT id = add(made, doc, type, name, parent).id;
    if (has_text(type))
        note_text(id);
    made.keep();
    touch(doc);
    return id;
}

UIntT Model::create(UIntT doc, IntT type, const std::string &name)
{
    check(name.empty() || !find(doc, type, name), bad_value);
    return append(doc, type, name);
}

UIntT Model::append(UIntT doc, IntT type, const std::string &name, UIntT parent)
{
    return create_one(doc, type, name, parent);
}

UIntT Model::create_after(UIntT doc, IntT type, UIntT previous)
{
    UIntT parent = 0;
    if (previous != 0) {
        check(object(doc, previous).type == type, wrong_kind);
        parent = at(previous).parent;
    }
    const UIntT id = create_one(doc, type, {}, parent);
    if (chains::container_type(type) != 0)
        chains::put_after(objects_, objects_.at(id), previous);
    return id;
}

UIntT Model::create_in(UIntT doc, IntT type, UIntT parent)
{
    object(doc, parent);
    return create_one(doc, type, {}, parent);
}

UIntT Model::create_anchored(UIntT doc, IntT type, const V_TextLocT &place,
                             const std::string &format, const std::string &name)
{
    texts::place_at(objects_, doc, place);
    check(chains::container_type(type) == 0, wrong_kind);
    NewObjects made(objects_);
    Object &one = add(made, doc, type, name);
    V_TypedValT anchor{kind::text_location, {}};
    anchor.u.textLocVal = place;
    properties::put(objects_, one, PropertyKey(property::anchor), Value(anchor));
    if (!format.empty())
        one.properties[PropertyKey("Format")] = Value::string(format);
    made.keep();
    touch(doc);
    return one.id;
}

void Model::remove(UIntT doc, UIntT id)
{
    const Object &gone = object(doc, id);
    check(!gone.stays && gone.type != object_type::document, not_permitted);
    check(!has_text(gone.type) || gone.previous != 0 || gone.next != 0, not_permitted);
    std::vector<UIntT> all = objects_.with_contents(id);
    for (std::size_t i = 0; i < all.size(); i++)
        for (const texts::Anchor &anchor : texts::anchors(at(all[i])))
            for (UIntT each : objects_.with_contents(anchor.object))
                all.push_back(each);
    if (has_text(gone.type))
        evacuate(gone);
    for (UIntT each : all) {
        if (at(each).type == object_type::component && selected(at(each).document) == each)
            select(at(each).document, 0);
        if (each == active_book())
            activate(0);
    }
    touch(gone.document);
    discard(objects_, all);
}

void Model::evacuate(const Object &gone)
{
    const bool is_flow = gone.type == object_type::flow;
    const bool backwards = gone.previous != 0;
    const Object *neighbour = &at(backwards ? gone.previous : gone.next);
    if (is_flow)
        neighbour = &at(backwards ? neighbour->last : neighbour->first);
    const V_TextLocT place{neighbour->id, backwards ? characters().count(neighbour->text) : 0};
    note_text(place.objId);
    UIntT each = is_flow ? gone.first : gone.id;
    do {
        marks::move_all(objects_, objects_.at(each), [&](IntT) { return place; });
        each = at(each).next;
    } while (is_flow && each != 0);
}

Value Model::get(UIntT doc, UIntT id, const PropertyKey &key) const
{
    const Object &from = object(doc, id);
    if (key.number == property::document && from.type == object_type::component && document_of)
        return Value::id(document_of(id));
    return properties::get(from, key);
}

std::vector<std::pair<PropertyKey, Value>> Model::properties(UIntT doc, UIntT id) const
{
    auto all = properties::all(object(doc, id));
    for (auto &[key, value] : all)
        if (key.number == property::document)
            value = get(doc, id, key);
    return all;
}

void Model::set(UIntT doc, UIntT id, const PropertyKey &key, const V_TypedValT &value)
{
    Object &object = objects_.addressed(doc, id);
    properties::check_writable(objects_, object, key, value);
    write(object, key, value);
}

// No value of a list changes whether another may be written, but that it gives a new property its
// kind.
void Model::set(UIntT doc, UIntT id, const V_PropValsT &list)
{
    Object &object = objects_.addressed(doc, id);
    std::map<PropertyKey, IntT> kinds;
    for (UIntT i = 0; i < list.len; i++) {
        const auto &[ident, value] = list.val[i];
        const PropertyKey key(ident);
        properties::check_writable(objects_, object, key, value);
        check(kinds.emplace(key, value.valType).first->second == value.valType, wrong_kind);
    }
    for (UIntT i = 0; i < list.len; i++)
        write(object, PropertyKey(list.val[i].propIdent), list.val[i].propVal);
}

void Model::write(Object &object, const PropertyKey &key, const V_TypedValT &value)
{
    const UIntT moved = properties::set(objects_, object, key, value);
    const auto is = [&](auto... numbers) { return ((key.number == numbers) || ...); };
    if (object.type != object_type::document)
        touch(object.document);
    else if (!is(property::selection, property::previous_document, property::next_document))
        touch(object.id);
    if (moved == 0)
        return;
    Object &member = objects_.at(moved);
    if (member.type == object_type::paragraph)
        marks::turn_ranges(objects_, member);
    if (member.type == object_type::component)
        changes_.try_emplace({V_notification_component_moved, moved});
    else if (has_text(member.type))
        note_text(moved);
}

std::optional<Model::Change> Model::take_change()
{
    if (changes_.empty())
        return {};
    const auto first = changes_.extract(changes_.begin());
    const auto [notification, object] = first.key();
    UIntT paragraph = first.mapped();
    // A paragraph that has gone meanwhile was replaced from the beginning of the document on.
    if (paragraph != 0 && !objects_.contains(paragraph))
        paragraph = at(at(object).first).first;
    return Change{notification, object, paragraph};
}

void Model::note_text(UIntT changed)
{
    const Object &object = at(changed);
    changes_.try_emplace({V_notification_text_changed, object.document},
                         object.type == object_type::flow ? object.first : changed);
}

void Model::remove_property(UIntT doc, UIntT id, const PropertyKey &key)
{
    Object &object = objects_.addressed(doc, id);
    properties::remove(objects_, object, key);
    touch(object.type == object_type::document ? id : doc);
}

void Model::put(UIntT id, IntT number, Value value)
{
    properties::put(objects_, objects_.at(id), PropertyKey(number), std::move(value));
}

void Model::touch(UIntT id)
{
    if (at(id).type == object_type::document)
        put(id, property::changed, Value::integer(1));
}

UIntT Model::id_held(UIntT doc, UIntT id, IntT number) const
{
    return static_cast<UIntT>(get(doc, id, PropertyKey(number)).get().u.intVal);
}

UIntT Model::active_book() const
{
    return id_held(0, 0, property::active_book);
}

void Model::activate(UIntT book)
{
    put(0, property::active_book, Value::id(book));
}

UIntT Model::selected(UIntT book) const
{
    return id_held(0, book, property::selected_component);
}

void Model::select(UIntT book, UIntT component)
{
    set(0, book, PropertyKey(property::selected_component), Value::id(component).get());
}

IntT Model::language() const
{
    return get(0, 0, PropertyKey(property::language)).get().u.intVal;
}

void Model::set_language(IntT number)
{
    put(0, property::language, Value::integer(number));
    objects_.characters = Characters(V_LanguageEncoding(number));
}

std::string Model::dialog_encoding() const
{
    return get(0, 0, PropertyKey(property::dialog_encoding)).get().u.stringVal;
}

void Model::set_dialog_encoding(const std::string &name)
{
    put(0, property::dialog_encoding, Value::string(name));
}

} // namespace velt::host
