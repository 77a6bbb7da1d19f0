/* Counts the words of all documents of the active book. It shows how far it is, and stops when the
 * user cancels. */

#include <stdio.h>

#include "../common.h"

enum { COUNT_WORDS = 1, ALERT_TYPE = 2 };
enum { LABEL, RESULT, CANCELLED, NOT_OPENED }; /* string resources */

static void tell(IntT text, const char *types, long words, const char *name)
{
    char message[512] = "";

    if (types[0] == 'd')
        V_SrGetF(text, message, sizeof message, types, (int)words);
    else
        V_SrGetF(text, message, sizeof message, types, name);
    V_ApiAlert(message, ALERT_TYPE);
}

/* A word is what stands between blanks. With the ends of paragraphs among them, the items of text
 * end there too. */
static long words_in(V_ObjHandleT doc)
{
    TextItemsT items = V_ApiGetText(doc, doc, V_select_string | V_select_paragraph_end);
    long words = 0;

    for (UIntT i = 0; i < items.len; i++) {
        const TextItemT *item = &items.val[i];
        int in_word = 0;
        for (const char *c = item->dataType == V_item_string ? item->u.text : ""; *c; c++) {
            int blank = *c == ' ' || *c == '\t';
            words += !blank && !in_word;
            in_word = !blank;
        }
    }
    V_ApiDeallocateTextItems(&items);
    return words;
}

/* Opens the document of a component unless it is open, and leaves it as it was. */
static long words_of(V_ObjHandleT book, V_ObjHandleT component)
{
    V_ObjHandleT open = V_ApiGetId(book, component, V_prop_document), doc = open;
    StringT file = component_file(book, component);
    long words = 0;

    if (!doc) {
        V_PropValsT options = V_ApiGetOpenDefaultParams(), *returned = NULL;
        doc = V_ApiOpen(file, &options, &returned);
        V_ApiDeallocatePropVals(&options);
    }
    if (doc)
        words = words_in(doc);
    else
        tell(NOT_OPENED, "s", 0, file);
    if (doc && !open)
        V_ApiClose(doc, V_close_losing);
    V_ApiDeallocateString(&file);
    return words;
}

static void count_words(void)
{
    V_ObjHandleT book = V_ApiGetId(0, 0, V_prop_active_book), component;
    long words = 0;
    IntT all = 0, done = 0;

    for (component = V_ApiGetId(0, book, V_prop_first_component); component;
         component = V_ApiGetId(book, component, V_prop_next_component))
        all++;
    for (component = V_ApiGetId(0, book, V_prop_first_component); component;
         component = V_ApiGetId(book, component, V_prop_next_component)) {
        if (V_ApiUserCancel() == 1) {
            tell(CANCELLED, "d", words, "");
            return;
        }
        words += words_of(book, component);
        V_Progress(100 * ++done / all);
    }
    tell(RESULT, "d", words, "");
}

void V_ApiInitialize(IntT initCode)
{
    (void)initCode;
    begin("wordcount", COUNT_WORDS, "CountWords", LABEL);
}

void V_ApiCommand(IntT command)
{
    if (command == COUNT_WORDS)
        count_words();
}
