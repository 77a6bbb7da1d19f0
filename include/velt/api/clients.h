/* The client in the host's session: who it is, its menus and commands, notifications.
 *
 * Failures, here and in every remote call: no answer sets VA_errno to -1, a refusal sets it to the
 * host's non-zero status. A call that answers a status returns 0, the host's status, or -1; one
 * that answers an id or a number returns 0 on failure; one that answers a string returns a copy
 * that the caller releases with V_ApiDeallocateString, null on failure. Where it differs, the call
 * says so.
 */
#ifndef VELT_API_CLIENTS_H
#define VELT_API_CLIENTS_H

#include "velt/decl.h"
#include "velt/scalars.h"

VELT_BEGIN_DECLS

/* The client's number; -1 when no answer came. */
IntT V_ApiClientNumber(void);
/* The client's name. */
StringT V_ApiClientName(void);
/* The client's directory. */
StringT V_ApiClientDir(void);
/* Sets the client's directory; returns the host's answer, -1 when none came. */
IntT V_ApiSetClientDir(const char *directory);
/* Sends a message to another client by name; returns the value that it answered. */
IntT V_ApiCallClient(const char *client, const char *message);
/* Leaves the session for good: control goes back, the connections close, VA_bailout is set. Returns
 * the host's answer, -1 when none came. No remote call may follow. */
IntT V_ApiDisconnectFromSession(void);

/* Whether the host has this menu; its answer, -1 when none came. */
IntT V_ApiMenuExists(const char *name);
/* Whether this shortcut is taken; the host's answer, -1 when none came. */
IntT V_ApiShortcutExists(const char *shortcut);
/* Adds a menu; the three strings mean what the host says. Status. */
IntT V_ApiAddMenu(const char *str1, const char *str2, const char *str3);
/* Removes a menu. Status. */
IntT V_ApiRemoveMenu(const char *str1, const char *str2);
/* Adds a command under a number that the client's V_ApiCommand will get. Status. */
IntT V_ApiAddCommand(IntT command, const char *str2, const char *str3, const char *str4,
                     const char *str5);
/* Defines a command, in no menu yet: number, name, label, shortcut. Returns its id. */
V_ObjHandleT V_ApiDefineCommand(IntT command, const char *name, const char *label,
                                const char *shortcut);
/* Defines a menu: name, label. Returns its id. */
V_ObjHandleT V_ApiDefineMenu(const char *name, const char *label);
/* Adds a command to a menu. Status. */
IntT V_ApiAddCommandToMenu(V_ObjHandleT menu, V_ObjHandleT command);
/* Adds a menu to a menu. Status. */
IntT V_ApiAddMenuToMenu(V_ObjHandleT menu, V_ObjHandleT added);
/* Defines a command and adds it to a menu. Returns the command's id. */
V_ObjHandleT V_ApiDefineAndAddCommand(IntT command, V_ObjHandleT menu, const char *name,
                                      const char *label, const char *shortcut);
/* Defines a menu and adds it to a menu. Returns the new menu's id. */
V_ObjHandleT V_ApiDefineAndAddMenu(V_ObjHandleT menu, const char *name, const char *label);
/* Has the host read a menu customisation file. Status. */
IntT V_ApiLoadMenuCustomizationFile(const char *fileName, IntT int2);
/* Animates a menu; the parameters mean what the host says. Status. */
IntT V_ApiAnimateMenu(V_ObjHandleT id1, V_ObjHandleT id2, IntT int3, const char *str4,
                      V_ObjHandleT id5, IntT int6);
/* Finds an item in a menu. Returns an id. */
V_ObjHandleT V_ApiMenuItemInMenu(V_ObjHandleT menu, V_ObjHandleT item, IntT int3);
/* Asks for a notification by its code, or no longer. Status. */
IntT V_ApiNotification(IntT notification, IntT int2);

VELT_END_DECLS

#endif
