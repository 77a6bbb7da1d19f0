/* Writes each component of the active book as plain text, beside its document, and tells which
 * could not be written and why. */

#include <stdio.h>

#include "../common.h"

enum { EXPORT_BOOK = 1, ALERT_TYPE = 2 };
enum { LABEL, ALL_WRITTEN, FAILED }; /* string resources */

/* Why an operation failed, from the list that it returned. The text is the list's. */
static const char *reason_in(const V_PropValsT *returned)
{
    IntT i = returned ? V_ApiGetPropIndex(returned, V_returned_reason) : -1;

    return i >= 0 ? returned->val[i].propVal.u.stringVal : V_ApiErrorText(VA_errno);
}

/* Appends a line to the text as far as there is room. */
static void note(char *text, size_t size, const char *name, const char *reason)
{
    size_t length = 0;

    while (text[length])
        length++;
    snprintf(text + length, size - length, "%s%s: %s", length ? "; " : "", name, reason);
}

/* Exports one component. Returns whether that worked; else the reason is noted. */
static int export_one(V_ObjHandleT book, V_ObjHandleT component, char *failures, size_t size)
{
    V_PropValsT opening = V_ApiGetOpenDefaultParams(), exporting = V_ApiGetExportDefaultParams();
    V_PropValsT *opened = NULL, *exported = NULL;
    StringT name = V_ApiGetString(book, component, V_prop_name);
    StringT file = component_file(book, component);
    V_ObjHandleT was_open = V_ApiGetId(book, component, V_prop_document);
    V_ObjHandleT doc = was_open ? was_open : V_ApiOpen(file, &opening, &opened);
    char target[1024];
    int good = 0;

    snprintf(target, sizeof target, "%s.txt", file);
    VA_errno = doc ? V_error_none : VA_errno;
    if (!doc) {
        note(failures, size, name, reason_in(opened));
    } else {
        good = V_ApiExport(doc, target, &exporting, &exported) == 0 && VA_errno == V_error_none;
        if (!good)
            note(failures, size, name, reason_in(exported));
        if (!was_open)
            V_ApiClose(doc, V_close_losing);
    }
    V_ApiDeallocateString(&name);
    V_ApiDeallocateString(&file);
    V_ApiDeallocatePropVals(&opening);
    V_ApiDeallocatePropVals(&exporting);
    return good;
}

static void export_book(void)
{
    V_ObjHandleT book = V_ApiGetId(0, 0, V_prop_active_book), component;
    char failures[2048] = "", message[4096] = "";
    int written = 0;

    for (component = V_ApiGetId(0, book, V_prop_first_component); component;
         component = V_ApiGetId(book, component, V_prop_next_component))
        written += export_one(book, component, failures, sizeof failures);
    if (failures[0])
        V_SrGetF(FAILED, message, sizeof message, "ds", written, failures);
    else
        V_SrGetF(ALL_WRITTEN, message, sizeof message, "d", written);
    V_ApiAlert(message, ALERT_TYPE);
}

void V_ApiInitialize(IntT initCode)
{
    (void)initCode;
    begin("exporter", EXPORT_BOOK, "ExportBook", LABEL);
}

void V_ApiCommand(IntT command)
{
    if (command == EXPORT_BOOK)
        export_book();
}
