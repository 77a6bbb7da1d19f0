// The objects that clients work on.

#include "host/model/model.h"

#include <algorithm>
#include <functional>
#include <iterator>

namespace velt::host
{
namespace
{

enum class Rule { book, member, after, before, first, name, any, nothing };

struct PropertyRow {
    IntT number;
    IntT kind;
    IntT type;
    Rule rule;

    // Told by the order of the book, or by the object itself; all others are stored.
    constexpr bool computed() const
    {
        return rule == Rule::after || rule == Rule::before || rule == Rule::first ||
               rule == Rule::name;
    }
};

constexpr PropertyRow rows[] = {
#define V_PROPERTY(number, kind_name, object, name, rule, meaning)                                 \
    {number, kind::kind_name, object_type::object, Rule::rule},
#include "velt/tables/properties.def"
};

template <class Table, class Projection = std::identity>
constexpr bool ascending(const Table &table, Projection key = {})
{
    return std::ranges::adjacent_find(table, std::ranges::greater_equal{}, key) ==
           std::ranges::end(table);
}
static_assert(ascending(rows, &PropertyRow::number));

constexpr IntT kinds[] = {
#define V_KIND(code, name) code,
#include "velt/tables/kinds.def"
};
constexpr IntT types[] = {
#define V_OBJECT_TYPE(number, name, meaning) number,
#include "velt/tables/object_types.def"
};
static_assert(ascending(kinds) && ascending(types));

const PropertyRow *row(IntT type, const PropertyKey &key)
{
    const auto is_it = [&](const PropertyRow &each) {
        return each.number == key.number && each.type == type;
    };
    const auto *found = std::ranges::find_if(rows, is_it);
    return found == std::end(rows) ? nullptr : found;
}

bool contains(const std::vector<UIntT> &ids, UIntT id)
{
    return std::ranges::find(ids, id) != ids.end();
}

void check(bool holds, Status status)
{
    if (!holds)
        throw StatusError(status);
}

UIntT id_of(const Value &value)
{
    return static_cast<UIntT>(value.get().u.intVal);
}

std::string text_of(const char *text)
{
    return text ? text : "";
}

// The neighbour of a member, 0 at the end.
UIntT neighbour(const std::vector<UIntT> &members, UIntT id, std::ptrdiff_t step)
{
    const auto at = std::ranges::find(members, id) - members.begin() + step;
    return at < 0 || at >= std::ssize(members) ? 0 : members[static_cast<std::size_t>(at)];
}

bool addressed_alone(IntT type)
{
    return type == object_type::document || type == object_type::book ||
           type == object_type::menu || type == object_type::command;
}

} // namespace

Model::Model()
{
    objects_.emplace(
        0, Object{.document = 0, .id = 0, .type = object_type::session, .name = {}, .stays = true});
    activate(0);
    set_language(0);
    set_dialog_encoding("");
    for (const char *menu : {book_context_menu, menu_bar})
        at(define_menu(0, menu, "")).stays = true;
}

void Model::check_document(UIntT doc) const
{
    if (doc == 0)
        return;
    const auto owner = objects_.find(doc);
    check(owner != objects_.end() && (owner->second.type == object_type::book ||
                                      owner->second.type == object_type::document),
          no_such_document);
}

const Object &Model::object(UIntT doc, UIntT id) const
{
    check_document(doc);
    const auto found = objects_.find(id);
    check(found != objects_.end() && found->second.document == doc, no_such_object);
    return found->second;
}

Object &Model::object(UIntT doc, UIntT id)
{
    return const_cast<Object &>(std::as_const(*this).object(doc, id));
}

const Object &Model::of_type(UIntT id, IntT type) const
{
    const Object &found = object(0, id);
    check(found.type == type, wrong_kind);
    return found;
}

const Object *Model::find(UIntT doc, IntT type, std::string_view name) const
{
    for (const auto &[id, each] : objects_)
        if (each.document == doc && each.type == type && each.name == name)
            return &each;
    return nullptr;
}

Object &Model::add(UIntT doc, IntT type, const std::string &name)
{
    check(type > 0 && type != object_type::session, bad_value);
    check_document(doc);
    check(doc == 0 || !addressed_alone(type), wrong_kind);
    if (type == object_type::component) {
        check(doc != 0, no_such_document);
        of_type(doc, object_type::book);
    }
    const UIntT id = next_id_++;
    Object &made =
        objects_.emplace(id, Object{.document = doc, .id = id, .type = type, .name = name})
            .first->second;
    for (const PropertyRow &each : rows)
        if (each.type == type && !each.computed())
            made.properties[PropertyKey(each.number)] =
                each.kind == kind::string ? Value::string("") : Value::integer(0, each.kind);
    return made;
}

UIntT Model::create(UIntT doc, IntT type, const std::string &name)
{
    check(name.empty() || !find(doc, type, name), bad_value);
    return append(doc, type, name);
}

UIntT Model::append(UIntT doc, IntT type, const std::string &name)
{
    const Object &made = add(doc, type, name);
    if (type == object_type::component)
        at(doc).members.push_back(made.id);
    return made.id;
}

UIntT Model::create_after(UIntT doc, IntT type, UIntT previous)
{
    if (previous != 0)
        check(object(doc, previous).type == type, wrong_kind);
    const UIntT id = add(doc, type, {}).id;
    if (type == object_type::component) {
        auto &order = at(doc).members;
        const auto place = previous == 0 ? order.begin() : std::ranges::find(order, previous) + 1;
        order.insert(place, id);
    }
    return id;
}

UIntT Model::create_in(UIntT doc, IntT type, UIntT parent)
{
    object(doc, parent);
    const UIntT id = create(doc, type, {});
    at(id).parent = parent;
    return id;
}

void Model::remove(UIntT doc, UIntT id)
{
    const Object &gone = object(doc, id);
    check(!gone.stays, not_permitted);
    std::set<UIntT> all{id};
    // What an object contains was created after it, so that one pass finds what is inside that.
    for (const auto &[each_id, each] : objects_)
        if (each_id != 0 && ((each.document != 0 && all.contains(each.document)) ||
                             (each.parent != 0 && all.contains(each.parent))))
            all.insert(each_id);
    for (UIntT each : all)
        objects_.erase(each);

    if (all.contains(active_book()))
        activate(0);
    for (auto &[each_id, each] : objects_) {
        std::erase_if(each.members, [&](UIntT member) { return all.contains(member); });
        if (each.type == object_type::book && all.contains(selected(each_id)))
            select(each_id, 0);
    }
}

Value Model::get(UIntT doc, UIntT id, const PropertyKey &key) const
{
    const Object &from = object(doc, id);
    if (const PropertyRow *behaviour = row(from.type, key))
        switch (behaviour->rule) {
        case Rule::after:
            return Value::id(neighbour(at(doc).members, id, -1));
        case Rule::before:
            return Value::id(neighbour(at(doc).members, id, 1));
        case Rule::first:
            return Value::id(from.members.empty() ? 0 : from.members.front());
        case Rule::name:
            return Value::string(from.name);
        case Rule::book:
        case Rule::member:
        case Rule::any:
        case Rule::nothing:
            break;
        }
    const auto found = from.properties.find(key);
    check(found != from.properties.end(), no_such_property);
    return found->second;
}

void Model::set(UIntT doc, UIntT id, const PropertyKey &key, const V_TypedValT &value)
{
    Object &to = object(doc, id);
    check(key.number != 0 || !key.name.empty(), no_such_property);
    check(std::ranges::binary_search(kinds, value.valType), wrong_kind);

    const PropertyRow *behaviour = row(to.type, key);
    if (behaviour) {
        const auto wanted = static_cast<UIntT>(value.u.intVal);
        check(behaviour->kind == value.valType, wrong_kind);
        switch (behaviour->rule) {
        case Rule::book:
            check(wanted == 0 ||
                      (objects_.contains(wanted) && at(wanted).type == object_type::book),
                  bad_value);
            break;
        case Rule::member:
            check(wanted == 0 || contains(to.members, wanted), bad_value);
            break;
        case Rule::after:
        case Rule::before:
            return move(to, wanted, behaviour->rule == Rule::after);
        case Rule::first:
            check(contains(to.members, wanted), bad_value);
            if (wanted != to.members.front())
                move(at(wanted), to.members.front(), false);
            return;
        case Rule::name:
            return rename(to, text_of(value.u.stringVal));
        case Rule::nothing:
            throw StatusError(not_permitted);
        case Rule::any:
            break;
        }
    }
    const auto old = to.properties.find(key);
    check(old == to.properties.end() || old->second.kind() == value.valType, wrong_kind);
    to.properties[key] = Value(value);
}

void Model::move(const Object &component, UIntT neighbour_id, bool after)
{
    auto &order = at(component.document).members;
    check(neighbour_id != component.id && contains(order, neighbour_id), bad_value);
    std::erase(order, component.id);
    order.insert(std::ranges::find(order, neighbour_id) + after, component.id);
}

void Model::rename(Object &named, const std::string &name)
{
    const Object *other = name.empty() ? nullptr : find(named.document, named.type, name);
    check(!other || other == &named, bad_value);
    named.name = name;
}

void Model::remove_property(UIntT doc, UIntT id, const PropertyKey &key)
{
    Object &from = object(doc, id);
    check(!row(from.type, key), not_permitted);
    check(from.properties.erase(key) != 0, no_such_property);
}

std::vector<std::pair<PropertyKey, Value>> Model::properties(UIntT doc, UIntT id) const
{
    const Object &of = object(doc, id);
    std::map<PropertyKey, Value> all = of.properties;
    for (const PropertyRow &each : rows)
        if (each.type == of.type)
            all.insert_or_assign(PropertyKey(each.number), get(doc, id, PropertyKey(each.number)));
    return {all.begin(), all.end()};
}

void Model::put(UIntT id, IntT number, Value value)
{
    at(id).properties[PropertyKey(number)] = std::move(value);
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
    return text_of(get(0, 0, PropertyKey(property::dialog_encoding)).get().u.stringVal);
}

void Model::set_dialog_encoding(const std::string &name)
{
    put(0, property::dialog_encoding, Value::string(name));
}

UIntT Model::define_command(int client, IntT number, const std::string &name,
                            const std::string &label, const std::string &shortcut)
{
    check(!name.empty(), bad_value);
    const auto is_it = [&](const auto &entry) {
        const Object &each = entry.second;
        return each.type == object_type::command && each.client == client && each.name == name;
    };
    const auto old = std::ranges::find_if(objects_, is_it);
    Object &made = old != objects_.end() ? old->second : add(0, object_type::command, name);
    made.client = client;
    made.command = number;
    made.label = label;
    made.shortcut = shortcut;
    return made.id;
}

UIntT Model::define_menu(int client, const std::string &name, const std::string &label)
{
    check(!name.empty(), bad_value);
    const UIntT id = create(0, object_type::menu, name);
    at(id).client = client;
    at(id).label = label;
    return id;
}

UIntT Model::menu(std::string_view name) const
{
    const Object *found = find(0, object_type::menu, name);
    check(found, no_such_object);
    return found->id;
}

void Model::add_to_menu(UIntT menu, UIntT item)
{
    of_type(menu, object_type::menu);
    const Object &added = object(0, item);
    check(added.type == object_type::menu || added.type == object_type::command, wrong_kind);
    // A menu inside itself would have no end.
    check(item != menu && (added.type == object_type::command || !in_menu(item, menu, true)),
          bad_value);
    auto &items = at(menu).members;
    if (!contains(items, item))
        items.push_back(item);
}

void Model::remove_from_menu(UIntT menu, UIntT item)
{
    of_type(menu, object_type::menu);
    check(std::erase(at(menu).members, item) != 0, no_such_object);
}

bool Model::in_menu(UIntT menu, UIntT item, bool deep) const
{
    const auto &items = of_type(menu, object_type::menu).members;
    return contains(items, item) ||
           (deep && std::ranges::any_of(items, [&](UIntT each) {
                return at(each).type == object_type::menu && in_menu(each, item, true);
            }));
}

void Model::subscribe(int client, IntT notification, bool wanted)
{
    if (wanted)
        subscriptions_.emplace(client, notification);
    else
        subscriptions_.erase({client, notification});
}

bool Model::subscribed(int client, IntT notification) const
{
    return subscriptions_.contains({client, notification});
}

void Model::forget_subscriptions(int client)
{
    std::erase_if(subscriptions_, [=](const auto &each) { return each.first == client; });
}

} // namespace velt::host
