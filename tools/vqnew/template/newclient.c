/* newclient: a command in the context menu of a book tells how many components the book has. */

#include <stdio.h>

#include <velt/api.h>
#include <velt/vde.h>

enum { COUNT = 1 };      /* commands */
enum { LABEL, COUNTED }; /* string resources */
enum { ALERT_TYPE = 2 };

/* The host calls this once, when it has started the client. */
void V_ApiInitialize(IntT initCode)
{
    char label[256] = "newclient";

    (void)initCode;
    V_FdeInit();
    if (V_SrInit("newclient", V_LanguageString(V_ApiGetInt(0, 0, V_prop_language))) != 0) {
        V_ApiErr(VdeSrError());
        V_ApiBailOut();
        return;
    }
    V_SrGetN(LABEL, label, sizeof label);
    V_ApiDefineAndAddCommand(COUNT, V_ApiGetNamedObject(0, V_type_menu, "!BookContextMenu"),
                             "newclientCount", label, "");
    if (VA_errno != V_error_none) {
        V_ApiErr(V_ApiErrorText(VA_errno));
        V_ApiBailOut();
    }
}

/* The host calls this whenever the user chooses a command of this client. */
void V_ApiCommand(IntT command)
{
    V_ObjHandleT book, component;
    char text[256];
    IntT count = 0;

    if (command != COUNT)
        return;
    VA_errno = V_error_none;
    book = V_ApiGetId(0, 0, V_prop_active_book);
    for (component = book ? V_ApiGetId(0, book, V_prop_first_component) : 0; component;
         component = V_ApiGetId(book, component, V_prop_next_component))
        count++;
    if (VA_errno != V_error_none) {
        V_ApiAlert(V_ApiErrorText(VA_errno), ALERT_TYPE);
        return;
    }
    snprintf(text, sizeof text, "%d", (int)count); /* without memory, that stays there */
    V_SrGetF(COUNTED, text, sizeof text, "d", (int)count);
    V_ApiAlert(text, ALERT_TYPE);
}
