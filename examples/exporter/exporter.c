/* Writes each component of the active book as plain text, beside its document, and tells which
 * could not be written and why. */

#include "../common.h"

enum { EXPORT_BOOK = 1 };
enum { LABEL, WRITTEN, SOME_WRITTEN }; /* string resources */

/* Exports a document to the component's file with .txt behind it. The host replaces no file that it
 * has not exported itself. Returns whether that worked; a failure is noted. */
static int export_document(V_ObjHandleT book, V_ObjHandleT component, V_ObjHandleT doc)
{
    StringT file = component_file(book, component);
    V_PropValsT options, *returned = NULL;
    VdeClT target;
    int good;

    if (!file)
        return 0;
    options = V_ApiGetExportDefaultParams();
    VdeClInit(&target, 256);
    VdeClAddString(&target, file);
    VdeClAddString(&target, ".txt");
    VA_errno = V_error_none; /* only this tells of a call that is not answered */
    good = V_ApiExport(doc, (const char *)target.buf, &options, &returned) == 0 &&
           VA_errno == V_error_none;
    if (!good)
        note_failure(book, component, reason_in(returned));
    VdeClSetSize(&target, 0);
    V_ApiDeallocateString(&file);
    V_ApiDeallocatePropVals(&options);
    return good;
}

/* Opens the document of a component unless it is open, and leaves it as it was. */
static int export_component(V_ObjHandleT book, V_ObjHandleT component)
{
    int opened_here;
    V_ObjHandleT doc = open_document(book, component, 0, &opened_here);
    int good = doc && export_document(book, component, doc);

    if (opened_here)
        V_ApiClose(doc, V_close_asking);
    return good;
}

static void export_book(void)
{
    V_ObjHandleT book = V_ApiGetId(0, 0, V_prop_active_book), component;
    IntT written = 0;

    for (component = next_component(book, 0); component;
         component = next_component(book, component))
        written += export_component(book, component);
    report(WRITTEN, SOME_WRITTEN, written);
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
