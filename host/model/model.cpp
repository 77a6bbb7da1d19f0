#include "host/model/model.h"

namespace velt::host
{
namespace
{

UIntT id_of(const Value &value)
{
    return static_cast<UIntT>(value.get().u.intVal);
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

Object &Model::add(UIntT doc, IntT type, const std::string &name, UIntT parent)
{
    check(type > 0 && type != object_type::session, bad_value);
    check_document(doc);
    check(doc == 0 || !addressed_alone(type), wrong_kind);
    const IntT container_type = chains::container_type(type);
    if (container_type != 0) {
        check(doc != 0 || type == object_type::document, no_such_document);
        // A paragraph stands in the first flow unless it is created in another.
        if (type == object_type::paragraph && parent == 0)
            parent = at(doc).first;
        check(at(parent != 0 ? parent : doc).type == container_type, wrong_kind);
    }
    Object &made = objects_.add(doc, type, name, parent);
    properties::add_own(made);
    if (container_type != 0)
        chains::put_after(objects_, made, at(made.container()).last);
    return made;
}

UIntT Model::create(UIntT doc, IntT type, const std::string &name)
{
    check(name.empty() || !find(doc, type, name), bad_value);
    return append(doc, type, name);
}

UIntT Model::append(UIntT doc, IntT type, const std::string &name)
{
    return add(doc, type, name).id;
}

UIntT Model::create_after(UIntT doc, IntT type, UIntT previous)
{
    UIntT parent = 0;
    if (previous != 0) {
        check(object(doc, previous).type == type, wrong_kind);
        parent = at(previous).parent;
    }
    Object &made = add(doc, type, {}, parent);
    if (chains::container_type(type) != 0)
        chains::put_after(objects_, made, previous);
    return made.id;
}

UIntT Model::create_in(UIntT doc, IntT type, UIntT parent)
{
    object(doc, parent);
    return add(doc, type, {}, parent).id;
}

UIntT Model::create_document(const std::string &name)
{
    const UIntT document = add(0, object_type::document, name).id;
    const UIntT flow = add(document, object_type::flow, {}).id;
    add(document, object_type::paragraph, {}, flow);
    return document;
}

void Model::remove(UIntT doc, UIntT id)
{
    check(!object(doc, id).stays, not_permitted);
    for (UIntT each : objects_.with_contents(id)) {
        Object &gone = objects_.at(each);
        if (chains::container_type(gone.type) != 0)
            chains::take_out(objects_, gone);
        if (gone.type == object_type::component && selected(gone.document) == each)
            select(gone.document, 0);
        menus::take_out(objects_, gone);
        if (each == active_book())
            activate(0);
    }
    objects_.remove(id);
}

void Model::put(UIntT id, IntT number, Value value)
{
    objects_.at(id).properties[PropertyKey(number)] = std::move(value);
}

UIntT Model::active_book() const
{
    return id_of(get(0, 0, PropertyKey(property::active_book)));
}

void Model::activate(UIntT book)
{
    put(0, property::active_book, Value::id(book));
}

UIntT Model::selected(UIntT book) const
{
    return id_of(get(0, book, PropertyKey(property::selected_component)));
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
