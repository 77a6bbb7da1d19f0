#include "host/model/dialogs.h"

#include <algorithm>

#include "host/model/properties.h"

namespace velt::host::dialogs
{

UIntT dialog(Objects &objects, int client, const std::string &name)
{
    check(!name.empty(), bad_value);
    const auto same_name = objects.named(0, object_type::dialog, name);
    const auto found =
        std::ranges::find(same_name, client, [&](UIntT each) { return objects.at(each).client; });
    if (found != same_name.end())
        return *found;
    Object &made = objects.add(0, object_type::dialog, name);
    made.client = client;
    return made.id;
}

UIntT item(Objects &objects, UIntT dialog, IntT number)
{
    const Object &owner = objects.addressed(0, dialog);
    check(owner.type == object_type::dialog, wrong_kind);
    const PropertyKey key(property::item_number);
    const auto is_it = [&](UIntT id) {
        const Object &each = objects.at(id);
        const auto held = each.properties.find(key);
        return each.type == object_type::dialog_item && held != each.properties.end() &&
               held->second.get().u.intVal == number;
    };
    const auto found = std::ranges::find_if(owner.contents, is_it);
    if (found != owner.contents.end())
        return *found;
    Object &made = objects.add(0, object_type::dialog_item, {}, dialog);
    made.properties[key] = Value::integer(number);
    return made.id;
}

} // namespace velt::host::dialogs
