/* What the examples share: how they begin, ask, open documents, and report what failed. */
#ifndef EXAMPLES_COMMON_H
#define EXAMPLES_COMMON_H

#include <string.h>

#include <velt/api.h>
#include <velt/vde.h>

/* What could not be done, and why. */
static VdeClT failures;

/* Loads the client's labels in the session's language, and defines its command in the context menu
 * of a book. Without labels the client ends. */
static inline void begin(const char *client, IntT command, const char *name, IntT label)
{
    char text[256] = "";

    V_FdeInit();
    VdeClInit(&failures, 256);
    if (V_SrInit(client, V_LanguageString(V_ApiGetInt(0, 0, V_prop_language))) != 0) {
        V_ApiErr(VdeSrError());
        V_ApiBailOut();
        return;
    }
    V_SrGetN(label, text, sizeof text);
    V_ApiDefineAndAddCommand(command, V_ApiGetNamedObject(0, V_type_menu, "!BookContextMenu"), name,
                             text, "");
}

/* Asks the user for a text, for V_ApiDeallocateString; null when that is cancelled. */
static inline StringT ask(IntT prompt)
{
    char text[256] = "";
    StringT answer = NULL;

    V_SrGetN(prompt, text, sizeof text);
    return V_ApiPromptString(&answer, text, "") == 0 ? answer : NULL;
}

/* Adds to the failures what could not be done with a component. */
static inline void note_failure(V_ObjHandleT book, V_ObjHandleT component, const char *reason)
{
    StringT name = V_ApiGetString(book, component, V_prop_name);

    VdeClAddString(&failures, failures.len > 0 ? "; " : "");
    VdeClAddString(&failures, name);
    VdeClAddString(&failures, ": ");
    VdeClAddString(&failures, reason);
    V_ApiDeallocateString(&name);
}

/* The same with one of the client's texts as the reason. */
static inline void note_failure_text(V_ObjHandleT book, V_ObjHandleT component, IntT reason)
{
    char text[256] = "";

    V_SrGetN(reason, text, sizeof text);
    note_failure(book, component, text);
}

/* Shows a count to the user, in the first text; in the second one, with the failures, when there
 * are any. They are forgotten then. */
static inline void report(IntT text, IntT text_with_failures, IntT count)
{
    enum { ALERT_TYPE = 2 };
    char message[4096] = "";

    if (failures.len > 0)
        V_SrGetF(text_with_failures, message, sizeof message, "ds", (int)count, failures.buf);
    else
        V_SrGetF(text, message, sizeof message, "d", (int)count);
    VdeClSetLen(&failures, 0);
    V_ApiAlert(message, ALERT_TYPE);
}

/* The string that a value holds; empty when it is of another kind. */
static inline const char *string_in(const V_TypedValT *value)
{
    return value->valType == V_kind_string && value->u.stringVal ? value->u.stringVal : "";
}

/* Why an operation on a file failed, from the list that it returned. The text is the list's. */
static inline const char *reason_in(const V_PropValsT *returned)
{
    IntT i = returned ? V_ApiGetPropIndex(returned, V_returned_reason) : V_error_no_such_entry;

    return i >= 0 ? string_in(&returned->val[i].propVal) : V_ApiErrorText(VA_errno);
}

/* The file of a component, which is its property named File, for V_ApiDeallocateString; empty when
 * it has none. */
static inline StringT component_file(V_ObjHandleT book, V_ObjHandleT component)
{
    V_PropValsT all = V_ApiGetProps(book, component);
    const char *file = "";
    StringT copy;

    for (UIntT i = 0; i < all.len; i++) {
        const V_PropIdentT *of = &all.val[i].propIdent;
        if (of->num == 0 && of->name && strcmp(of->name, "File") == 0)
            file = string_in(&all.val[i].propVal);
    }
    copy = V_ApiCopyString(file);
    V_ApiDeallocatePropVals(&all);
    return copy;
}

/* Whether a returned list has the bit in its status. */
static inline int has_status(const V_PropValsT *returned, IntT bit)
{
    return returned && V_ApiCheckStatus(returned, bit) != 0;
}

/* Opens the document of a component; with a revert other than 0 one that is open is read again. 0
 * when that fails, which is noted. *opened_here, unless null, becomes whether the document was not
 * open before: a client closes no other, since that is the user's. */
static inline V_ObjHandleT open_document(V_ObjHandleT book, V_ObjHandleT component, IntT revert,
                                         int *opened_here)
{
    V_PropValsT options = V_ApiGetOpenDefaultParams(), *returned = NULL;
    StringT file = component_file(book, component);
    V_ObjHandleT doc;

    V_ApiAppendIntProp(&options, V_open_revert, revert);
    doc = V_ApiOpen(file, &options, &returned);
    if (!doc)
        note_failure(book, component, reason_in(returned));
    if (opened_here)
        *opened_here = doc && !has_status(returned, V_file_opened_already) &&
                       !has_status(returned, V_file_reverted);
    V_ApiDeallocateString(&file);
    V_ApiDeallocatePropVals(&options);
    return doc;
}

/* The options to find a text, for V_ApiDeallocatePropVals. */
static inline V_PropValsT find_options(const char *text)
{
    V_PropValsT options = V_ApiAllocatePropVals(0);

    V_ApiAppendStringProp(&options, V_find_text, text);
    return options;
}

static inline V_ObjHandleT first_paragraph(V_ObjHandleT doc)
{
    return V_ApiGetId(doc, V_ApiGetId(0, doc, V_prop_first_flow), V_prop_first_paragraph);
}

/* Saves the document of a component in its file. Returns whether that worked; a failure is noted.
 */
static inline int save_document(V_ObjHandleT book, V_ObjHandleT component, V_ObjHandleT doc)
{
    V_PropValsT options = V_ApiGetSaveDefaultParams(), *returned = NULL;
    StringT file = component_file(book, component);
    int good = V_ApiSave(doc, file, &options, &returned) != 0;

    if (!good)
        note_failure(book, component, reason_in(returned));
    V_ApiDeallocateString(&file);
    V_ApiDeallocatePropVals(&options);
    return good;
}

#endif
