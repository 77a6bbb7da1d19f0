// Menus and commands.

#include "apilib/unix/apiclib/call.h"

using namespace velt;

// clang-format off

IntT V_ApiMenuExists(const char *name)
{ return plain(api_vq_menu_exists_1, {in(name)}); }

IntT V_ApiShortcutExists(const char *shortcut)
{ return plain(api_vq_shortcut_exists_1, {in(shortcut)}); }

IntT V_ApiAddMenu(const char *str1, const char *str2, const char *str3)
{ return status(api_vq_add_menu_1, {in(str1), in(str2), in(str3)}); }

IntT V_ApiRemoveMenu(const char *str1, const char *str2)
{ return status(api_vq_remove_menu_1, {in(str1), in(str2)}); }

IntT V_ApiAddCommand(IntT command, const char *str2, const char *str3, const char *str4, const char *str5)
{ return status(api_vq_add_command_1, {command, in(str2), in(str3), in(str4), in(str5)}); }

V_ObjHandleT V_ApiDefineCommand(IntT command, const char *str2, const char *str3, const char *str4)
{ return scalar(api_vq_define_command_1, {command, in(str2), in(str3), in(str4)}, &ApiVqObjRetT::objId); }

V_ObjHandleT V_ApiDefineMenu(const char *str1, const char *str2)
{ return scalar(api_vq_define_menu_1, {in(str1), in(str2)}, &ApiVqObjRetT::objId); }

IntT V_ApiAddCommandToMenu(V_ObjHandleT menu, V_ObjHandleT command)
{ return status(api_vq_add_command_to_menu_1, {menu, command}); }

IntT V_ApiAddMenuToMenu(V_ObjHandleT menu, V_ObjHandleT added)
{ return status(api_vq_add_menu_to_menu_1, {menu, added}); }

V_ObjHandleT V_ApiDefineAndAddCommand(IntT command, V_ObjHandleT menu, const char *name, const char *label, const char *str5)
{ return scalar(api_vq_define_and_add_command_1, {command, menu, in(name), in(label), in(str5)}, &ApiVqObjRetT::objId); }

V_ObjHandleT V_ApiDefineAndAddMenu(V_ObjHandleT menu, const char *str2, const char *str3)
{ return scalar(api_vq_define_and_add_menu_1, {menu, in(str2), in(str3)}, &ApiVqObjRetT::objId); }

IntT V_ApiLoadMenuCustomizationFile(const char *fileName, IntT int2)
{ return status(api_vq_load_menu_customization_file_1, {in(fileName), int2}); }

IntT V_ApiAnimateMenu(V_ObjHandleT id1, V_ObjHandleT id2, IntT int3, const char *str4, V_ObjHandleT id5, IntT int6)
{ return status(api_vq_animate_menu_1, {id1, id2, int3, in(str4), id5, int6}); }

V_ObjHandleT V_ApiMenuItemInMenu(V_ObjHandleT menu, V_ObjHandleT item, IntT int3)
{ return scalar(api_vq_menu_item_in_menu_1, {menu, item, int3}, &ApiVqObjRetT::objId); }
