/* Counts the words of all documents of the active book. It shows how far it is, and stops when the
 * user cancels. */

#include "../common.h"

enum { COUNT_WORDS = 1 };
enum { LABEL, COUNTED, SOME_COUNTED, CANCELLED, SOME_CANCELLED }; /* string resources */

/* A word is what stands between blanks. With the ends of paragraphs among them, the items of text
 * end there too. */
static IntT words_in(V_ObjHandleT book, V_ObjHandleT component, V_ObjHandleT doc)
{
    TextItemsT items;
    IntT words = 0;

    VA_errno = V_error_none;
    items = V_ApiGetText(doc, doc, V_select_string | V_select_paragraph_end);
    failed(book, component);
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
static IntT words_of(V_ObjHandleT book, V_ObjHandleT component)
{
    int opened_here;
    V_ObjHandleT doc = open_document(book, component, 0, &opened_here);
    IntT words = doc ? words_in(book, component, doc) : 0;

    if (opened_here)
        V_ApiClose(doc, V_close_asking);
    return words;
}

static void count_words(void)
{
    V_ObjHandleT book = V_ApiGetId(0, 0, V_prop_active_book), component;
    IntT words = 0, all = 0, done = 0;

    for (component = next_component(book, 0); component;
         component = next_component(book, component))
        all++;
    for (component = next_component(book, 0); component;
         component = next_component(book, component)) {
        if (V_ApiUserCancel() == 1) {
            report(CANCELLED, SOME_CANCELLED, words);
            return;
        }
        words += words_of(book, component);
        if (++done <= all) /* not when they could not all be told before */
            V_Progress(100 * done / all);
    }
    report(COUNTED, SOME_COUNTED, words);
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
