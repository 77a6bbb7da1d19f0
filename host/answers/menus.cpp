#include "host/answers/answers.h"

namespace velt::host
{
namespace
{

UIntT define(Context &c, IntT number, const char *name, const char *label, const char *shortcut)
{
    return c.model.define_command(c.client.number, number, text(name), text(label), text(shortcut));
}

// Refuses an id that is no menu before the caller defines anything for it.
void need_menu(Context &c, UIntT menu)
{
    check(c.model.object(0, menu).type == object_type::menu, wrong_kind);
}

} // namespace

void Answer<api_vq_menu_exists_1>::answer(Context &c, const ApiVqExistsArgT &a, IntT &r)
{
    r = c.model.find(0, object_type::menu, text(a.str1)) != nullptr;
}

void Answer<api_vq_shortcut_exists_1>::answer(Context &c, const ApiVqExistsArgT &a, IntT &r)
{
    r = c.model.shortcut_exists(text(a.str1));
}

// The argument holds the menu to add to, the new menu's name and its label.
void Answer<api_vq_add_menu_1>::answer(Context &c, const ApiVqAddMenuArgT &a, IntT &r)
{
    r = status_of([&] {
        const UIntT menu = c.model.menu(text(a.str1));
        c.model.add_to_menu(menu, c.model.define_menu(c.client.number, text(a.str2), text(a.str3)));
    });
}

// The argument holds the menu to remove from and the name of the menu in it, which itself stays
// defined.
void Answer<api_vq_remove_menu_1>::answer(Context &c, const ApiVqRemoveMenuArgT &a, IntT &r)
{
    r = status_of(
        [&] { c.model.remove_from_menu(c.model.menu(text(a.str1)), c.model.menu(text(a.str2))); });
}

// The argument holds the command's number, the menu to add it to, its name, label and shortcut.
void Answer<api_vq_add_command_1>::answer(Context &c, const ApiVqAddCommandArgT &a, IntT &r)
{
    r = status_of([&] {
        const UIntT menu = c.model.menu(text(a.str2));
        c.model.add_to_menu(menu, define(c, a.int1, a.str3, a.str4, a.str5));
    });
}

void Answer<api_vq_define_command_1>::answer(Context &c, const ApiVqDefineCommandArgT &a,
                                             ApiVqObjRetT &r)
{
    give_object(r, [&] { return define(c, a.int1, a.str2, a.str3, a.str4); });
}

void Answer<api_vq_define_menu_1>::answer(Context &c, const ApiVqDefineMenuArgT &a, ApiVqObjRetT &r)
{
    give_object(r,
                [&] { return c.model.define_menu(c.client.number, text(a.str1), text(a.str2)); });
}

void Answer<api_vq_add_command_to_menu_1>::answer(Context &c, const ApiVqAddCommandToMenuArgT &a,
                                                  IntT &r)
{
    r = status_of([&] {
        if (c.model.object(0, a.id2).type != object_type::command)
            throw StatusError(wrong_kind);
        c.model.add_to_menu(a.id1, a.id2);
    });
}

void Answer<api_vq_add_menu_to_menu_1>::answer(Context &c, const ApiVqAddMenuToMenuArgT &a, IntT &r)
{
    r = status_of([&] {
        need_menu(c, a.id2);
        c.model.add_to_menu(a.id1, a.id2);
    });
}

void Answer<api_vq_define_and_add_command_1>::answer(Context &c,
                                                     const ApiVqDefineAndAddCommandArgT &a,
                                                     ApiVqObjRetT &r)
{
    give_object(r, [&] {
        need_menu(c, a.id2);
        const UIntT command = define(c, a.int1, a.str3, a.str4, a.str5);
        c.model.add_to_menu(a.id2, command);
        return command;
    });
}

void Answer<api_vq_define_and_add_menu_1>::answer(Context &c, const ApiVqDefineAndAddMenuArgT &a,
                                                  ApiVqObjRetT &r)
{
    give_object(r, [&] {
        need_menu(c, a.id1);
        const UIntT menu = c.model.define_menu(c.client.number, text(a.str2), text(a.str3));
        c.model.add_to_menu(a.id1, menu);
        return menu;
    });
}

// A nonzero integer in the argument has the menus below the menu searched too.
void Answer<api_vq_menu_item_in_menu_1>::answer(Context &c, const ApiVqMenuItemInMenuArgT &a,
                                                ApiVqObjRetT &r)
{
    give_object(r, [&] {
        check(c.model.in_menu(a.id1, a.id2, a.int3 != 0), no_such_object);
        return a.id2;
    });
}

} // namespace velt::host
