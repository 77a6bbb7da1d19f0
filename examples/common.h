/* What the examples share. */
#ifndef EXAMPLES_COMMON_H
#define EXAMPLES_COMMON_H

#include <string.h>

#include <velt/api.h>
#include <velt/vde.h>

/* Loads the client's labels in the session's language, and defines its command in the context menu
 * of a book. Without labels the client ends. */
static inline void begin(const char *client, IntT command, const char *name, IntT label)
{
    char text[256] = "";

    V_FdeInit();
    if (V_SrInit(client, V_LanguageString(V_ApiGetInt(0, 0, V_prop_language))) != 0) {
        V_ApiErr(VdeSrError());
        V_ApiBailOut();
        return;
    }
    V_SrGetN(label, text, sizeof text);
    V_ApiDefineAndAddCommand(command, V_ApiGetNamedObject(0, V_type_menu, "!BookContextMenu"), name,
                             text, "");
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
            file = all.val[i].propVal.u.stringVal;
    }
    copy = V_ApiCopyString(file);
    V_ApiDeallocatePropVals(&all);
    return copy;
}

#endif
