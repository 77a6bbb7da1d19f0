/* Menus and commands.
 *
 * A menu or command is an object, addressed as (0, id). For the reference host a menu or command
 * has a name, by which it is found, a label, which the user sees, and a command also a shortcut;
 * its menus "!MenuBar" and "!BookContextMenu" are there from the start. Failures as in session.h.
 */
#ifndef VELT_API_MENUS_H
#define VELT_API_MENUS_H

#include "velt/api/values.h"

VELT_BEGIN_DECLS

/* Whether the host has a menu of this name; -1 when no answer came. */
IntT V_ApiMenuExists(const char *name);
/* Whether this shortcut is taken; -1 when no answer came. */
IntT V_ApiShortcutExists(const char *shortcut);
/* Adds a menu. For the reference host: the name of the menu to add to, the new menu's name, its
 * label. */
IntT V_ApiAddMenu(const char *str1, const char *str2, const char *str3);
/* Removes a menu. For the reference host: the name of the menu to remove from, the name of the menu
 * in it, which stays defined. */
IntT V_ApiRemoveMenu(const char *str1, const char *str2);
/* Adds a command under a number that the client's V_ApiCommand will get. For the reference host:
 * the name of the menu to add to, the command's name, label and shortcut. */
IntT V_ApiAddCommand(IntT command, const char *str2, const char *str3, const char *str4,
                     const char *str5);
/* Defines a command, in no menu yet; returns its id. For the reference host: name, label, shortcut.
 */
V_ObjHandleT V_ApiDefineCommand(IntT command, const char *str2, const char *str3, const char *str4);
/* Defines a menu, in no menu yet; returns its id. For the reference host: name, label. */
V_ObjHandleT V_ApiDefineMenu(const char *str1, const char *str2);
/* Adds a command to a menu. */
IntT V_ApiAddCommandToMenu(V_ObjHandleT menu, V_ObjHandleT command);
/* Adds a menu to a menu. */
IntT V_ApiAddMenuToMenu(V_ObjHandleT menu, V_ObjHandleT added);
/* Defines a command and adds it to a menu; returns the command's id. For the reference host the
 * last string is the shortcut. */
V_ObjHandleT V_ApiDefineAndAddCommand(IntT command, V_ObjHandleT menu, const char *name,
                                      const char *label, const char *str5);
/* Defines a menu and adds it to a menu; returns the new menu's id. For the reference host: name,
 * label. */
V_ObjHandleT V_ApiDefineAndAddMenu(V_ObjHandleT menu, const char *str2, const char *str3);
/* Has the host read a menu customisation file. */
IntT V_ApiLoadMenuCustomizationFile(const char *fileName, IntT int2);
/* Animates a menu. */
IntT V_ApiAnimateMenu(V_ObjHandleT id1, V_ObjHandleT id2, IntT int3, const char *str4,
                      V_ObjHandleT id5, IntT int6);
/* Finds an item in a menu; returns its id. The reference host looks into the menus below as well
 * when int3 is not 0. */
V_ObjHandleT V_ApiMenuItemInMenu(V_ObjHandleT menu, V_ObjHandleT item, IntT int3);

VELT_END_DECLS

#endif
