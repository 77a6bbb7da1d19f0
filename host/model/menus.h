// The menus and the commands that clients define.
#pragma once

#include "host/model/objects.h"

namespace velt::host
{

// The names of the menus that exist from the start.
inline constexpr const char *book_context_menu = "!BookContextMenu";
inline constexpr const char *menu_bar = "!MenuBar";

namespace menus
{

UIntT define_command(Objects &objects, int client, IntT number, const std::string &name,
                     const std::string &label, const std::string &shortcut);
UIntT define_menu(Objects &objects, int client, const std::string &name, const std::string &label);
UIntT menu(const Objects &objects, std::string_view name);
bool shortcut_exists(const Objects &objects, std::string_view shortcut);

void add(Objects &objects, UIntT menu, UIntT item);
void remove(Objects &objects, UIntT menu, UIntT item);
bool has(const Objects &objects, UIntT menu, UIntT item, bool deep);
// Takes the item out of all menus and, when it is a menu itself, everything out of it.
void take_out(Objects &objects, Object &item);

} // namespace menus
} // namespace velt::host
