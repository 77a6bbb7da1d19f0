#include "host/model/menus.h"

#include <algorithm>

namespace velt::host::menus
{
namespace
{

const Object &menu_at(const Objects &objects, UIntT id)
{
    const Object &found = objects.addressed(0, id);
    check(found.type == object_type::menu, wrong_kind);
    return found;
}

} // namespace

UIntT define_command(Objects &objects, int client, IntT number, const std::string &name,
                     const std::string &label, const std::string &shortcut)
{
    check(!name.empty(), bad_value);
    const auto same_name = objects.named(0, object_type::command, name);
    const auto old =
        std::ranges::find(same_name, client, [&](UIntT each) { return objects.at(each).client; });
    Object &made =
        old != same_name.end() ? objects.at(*old) : objects.add(0, object_type::command, name);
    made.client = client;
    made.command = number;
    made.label = label;
    made.shortcut = shortcut;
    return made.id;
}

UIntT define_menu(Objects &objects, int client, const std::string &name, const std::string &label)
{
    check(!name.empty() && !objects.find(0, object_type::menu, name), bad_value);
    Object &made = objects.add(0, object_type::menu, name);
    made.client = client;
    made.label = label;
    return made.id;
}

UIntT menu(const Objects &objects, std::string_view name)
{
    const Object *found = objects.find(0, object_type::menu, name);
    check(found, no_such_object);
    return found->id;
}

bool shortcut_exists(const Objects &objects, std::string_view shortcut)
{
    // The session contains all commands, and nothing else has one.
    const auto has_it = [&](UIntT each) { return objects.at(each).shortcut == shortcut; };
    return !shortcut.empty() && std::ranges::any_of(objects.at(0).contents, has_it);
}

void add(Objects &objects, UIntT menu, UIntT item)
{
    menu_at(objects, menu);
    Object &added = objects.addressed(0, item);
    check(added.type == object_type::menu || added.type == object_type::command, wrong_kind);
    // A menu must not contain itself at any depth, because it would have no end.
    check(item != menu && (added.type == object_type::command || !has(objects, item, menu, true)),
          bad_value);
    if (added.menus.insert(menu).second)
        objects.at(menu).items.push_back(item);
}

void remove(Objects &objects, UIntT menu, UIntT item)
{
    menu_at(objects, menu);
    check(std::erase(objects.at(menu).items, item) != 0, no_such_object);
    objects.at(item).menus.erase(menu);
}

bool has(const Objects &objects, UIntT menu, UIntT item, bool deep)
{
    const auto &items = menu_at(objects, menu).items;
    return std::ranges::find(items, item) != items.end() ||
           (deep && std::ranges::any_of(items, [&](UIntT each) {
                return objects.at(each).type == object_type::menu && has(objects, each, item, true);
            }));
}

void take_out(Objects &objects, Object &item)
{
    for (UIntT menu : item.menus)
        std::erase(objects.at(menu).items, item.id);
    for (UIntT each : item.items)
        objects.at(each).menus.erase(item.id);
    item.menus.clear();
    item.items.clear();
}

} // namespace velt::host::menus
