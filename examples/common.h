/* What the examples share: how they begin, ask, open documents, and report what failed.
 *
 * A call that fails returns something empty, such as no text, which may be right as well. VA_errno
 * tells, since a call that succeeds leaves it alone: it is set to 0, then come the calls, then
 * failed() is asked. */
#ifndef EXAMPLES_COMMON_H
#define EXAMPLES_COMMON_H

#include <stdio.h>
#include <string.h>

#include <velt/api.h>
#include <velt/vde.h>

/* What could not be done, and why. */
static VdeClT failures;

static const char no_memory[] = "out of memory";

/* Loads the client's labels in the session's language, and defines its command in the context menu
 * of a book. Without labels, and when a call has failed up to here, the client ends. */
static inline void begin(const char *client, IntT command, const char *name, IntT label)
{
    static int loaded; /* the host begins once, and a test again and again */
    char text[256];

    V_FdeInit();
    if (!failures.buf)
        VdeClInit(&failures, 256);
    if (!loaded && V_SrInit(client, V_LanguageString(V_ApiGetInt(0, 0, V_prop_language))) != 0) {
        V_ApiErr(VdeSrError());
        V_ApiBailOut();
        return;
    }
    loaded = 1;
    snprintf(text, sizeof text, "%s", name);
    V_SrGetN(label, text, sizeof text); /* without memory, the name stays there */
    V_ApiDefineAndAddCommand(command, V_ApiGetNamedObject(0, V_type_menu, "!BookContextMenu"), name,
                             text, "");
    if (VA_errno != V_error_none) {
        V_ApiErr(V_ApiErrorText(VA_errno));
        V_ApiBailOut();
    }
}

/* One of the client's texts, until the next call. */
static inline const char *text_of(IntT id)
{
    static char text[256];

    snprintf(text, sizeof text, "%s", no_memory);
    V_SrGetN(id, text, sizeof text);
    return text;
}

/* Adds to the failures what could not be done with a component, or with the book for 0. */
static inline void note_failure(V_ObjHandleT book, V_ObjHandleT component, const char *reason)
{
    StringT name = V_ApiGetString(component ? book : 0, component ? component : book, V_prop_name);

    VdeClAddString(&failures, failures.len > 0 ? "; " : "");
    VdeClAddString(&failures, name ? name : "?");
    VdeClAddString(&failures, ": ");
    VdeClAddString(&failures, reason);
    V_ApiDeallocateString(&name);
}

/* Whether a call has failed since VA_errno was 0, which is noted; it is 0 again then. */
static inline int failed(V_ObjHandleT book, V_ObjHandleT component)
{
    IntT error = VA_errno;

    if (error != V_error_none)
        note_failure(book, component, V_ApiErrorText(error));
    VA_errno = V_error_none;
    return error != V_error_none;
}

/* Shows a message to the user. */
static inline void show(const char *message)
{
    enum { ALERT_TYPE = 2 };

    VA_errno = V_error_none;
    V_ApiAlert(message, ALERT_TYPE);
    if (VA_errno != V_error_none)
        V_ApiErr(message);
}

/* Asks the user for a text, for V_ApiDeallocateString; null when that is cancelled, or fails. */
static inline StringT ask(IntT prompt)
{
    char text[256];
    StringT answer = NULL;

    if (V_SrGetN(prompt, text, sizeof text) != 0) {
        show(no_memory);
        return NULL;
    }
    VA_errno = V_error_none;
    V_ApiPromptString(&answer, text, "");
    if (VA_errno != V_error_none)
        show(V_ApiErrorText(VA_errno));
    return answer;
}

/* Shows a count to the user, in the first text; in the second one, with the failures, when there
 * are any. They are forgotten then. */
static inline void report(IntT text, IntT text_with_failures, IntT count)
{
    const char *why = failures.len > 0 ? (const char *)failures.buf : no_memory;
    char message[4096];

    /* Without memory for the client's text, this stays there. */
    snprintf(message, sizeof message, "%d (%s)", (int)count, why);
    V_SrGetF(failures.len > 0 ? text_with_failures : text, message, sizeof message, "ds",
             (int)count, why);
    VdeClSetLen(&failures, 0);
    show(message);
}

/* The component of a book that follows another, or the first one for 0. 0 at the end, and when that
 * fails, which is noted. */
static inline V_ObjHandleT next_component(V_ObjHandleT book, V_ObjHandleT component)
{
    V_ObjHandleT next;

    VA_errno = V_error_none;
    next = component ? V_ApiGetId(book, component, V_prop_next_component)
                     : V_ApiGetId(0, book, V_prop_first_component);
    failed(book, 0);
    return next;
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
 * it has none. Null when that fails, which is noted. */
static inline StringT component_file(V_ObjHandleT book, V_ObjHandleT component)
{
    V_PropValsT all;
    const char *file = "";
    StringT copy;

    VA_errno = V_error_none;
    all = V_ApiGetProps(book, component);
    if (failed(book, component))
        return NULL;
    for (UIntT i = 0; i < all.len; i++) {
        const V_PropIdentT *of = &all.val[i].propIdent;
        if (of->num == 0 && of->name && strcmp(of->name, "File") == 0)
            file = string_in(&all.val[i].propVal);
    }
    copy = V_ApiCopyString(file);
    if (!copy)
        note_failure(book, component, no_memory);
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
    V_ObjHandleT doc = 0;

    V_ApiAppendIntProp(&options, V_open_revert, revert);
    if (V_ApiGetPropIndex(&options, V_open_revert) < 0)
        note_failure(book, component, no_memory);
    else if (file && !(doc = V_ApiOpen(file, &options, &returned)))
        note_failure(book, component, reason_in(returned));
    if (opened_here)
        *opened_here = doc && !has_status(returned, V_file_opened_already) &&
                       !has_status(returned, V_file_reverted);
    V_ApiDeallocateString(&file);
    V_ApiDeallocatePropVals(&options);
    return doc;
}

/* Has a document be as its file is: closes it when it was opened here, else reads the file again. A
 * failure is noted. */
static inline void put_back(V_ObjHandleT book, V_ObjHandleT component, V_ObjHandleT doc,
                            int opened_here)
{
    if (!opened_here)
        open_document(book, component, 1, NULL);
    else if (V_ApiClose(doc, V_close_losing) != 0)
        note_failure(book, component, V_ApiErrorText(VA_errno));
}

/* Whether a document has no changes that are not saved. When it has, which the text says, and when
 * that cannot be told, it is noted. */
static inline int is_saved(V_ObjHandleT book, V_ObjHandleT component, V_ObjHandleT doc, IntT text)
{
    int changed;

    VA_errno = V_error_none;
    changed = V_ApiGetInt(0, doc, V_prop_changed) != 0;
    if (failed(book, component))
        return 0;
    if (changed)
        note_failure(book, component, text_of(text));
    return !changed;
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

/* Replaces a text that was found; VA_errno tells whether that failed. Returns the place behind the
 * replacement, which V_ApiReplaceText does not tell. The replacement is inserted first, so that it
 * has the format of the text found, and nothing is lost when that fails. */
static inline V_TextLocT replace_text(V_ObjHandleT doc, const V_TextRangeT *found, const char *text)
{
    V_TextLocT after = V_ApiAddText(doc, &found->end, text);

    if (VA_errno == V_error_none)
        V_ApiDeleteText(doc, found);
    if (after.objId == found->end.objId)
        after.offset -= found->end.offset - found->beg.offset;
    return after;
}

/* Saves the document of a component in its file. Returns whether that worked; a failure is noted.
 * When the answer is lost, the document tells: it has no changes once it is saved. */
static inline int save_document(V_ObjHandleT book, V_ObjHandleT component, V_ObjHandleT doc)
{
    V_PropValsT options = V_ApiGetSaveDefaultParams(), *returned = NULL;
    StringT file = component_file(book, component);
    int good = file && V_ApiSave(doc, file, &options, &returned) != 0;

    if (file && !good) {
        const char *reason = reason_in(returned);
        int lost = VA_errno == V_error_no_answer;
        VA_errno = V_error_none;
        good = lost && V_ApiGetInt(0, doc, V_prop_changed) == 0 && VA_errno == V_error_none;
        if (!good)
            note_failure(book, component, reason);
    }
    V_ApiDeallocateString(&file);
    V_ApiDeallocatePropVals(&options);
    return good;
}

#endif
