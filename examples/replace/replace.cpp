// Replaces a text in the documents of the active book, with a dialog: each press on its first item
// does so in the next one. When it is cancelled all are as they were, otherwise they are saved.

#include <vector>

#include "../common.h"

namespace
{

enum : IntT { replace_in_book = 1, dialog = 1, replace_item = 1 };
enum : IntT { label, find_prompt, replace_prompt, saved, some_saved, undone, some_undone, unsaved };

struct Document {
    V_ObjHandleT component, id;
    int opened_here, touched, count; // touched by somebody else; replacements in it
};

struct {
    V_ObjHandleT book, next; // the component that comes next
    StringT find, replacement;
    std::vector<Document> documents; // that came already
} work;

IntT replace_in(V_ObjHandleT doc)
{
    IntT count = 0;
    V_PropValsT options = find_options(work.find);
    V_TextLocT from{first_paragraph(doc), 0};
    for (;; count++) {
        const V_TextRangeT found = V_ApiFind(doc, &from, &options);
        if (found.beg.objId == 0 || V_ApiDeleteText(doc, &found) != 0)
            break;
        from = V_ApiAddText(doc, &found.beg, work.replacement);
    }
    V_ApiDeallocatePropVals(&options);
    return count;
}

// Saves the document, or puts it back; what somebody else has changed stays open for them.
bool finish(const Document &d, bool save)
{
    const bool good = save && !d.touched && save_document(work.book, d.component, d.id);
    if (d.touched)
        note_failure_text(work.book, d.component, unsaved);
    else if (d.opened_here)
        V_ApiClose(d.id, V_close_losing);
    else if (!good && d.count > 0)
        open_document(work.book, d.component, 1, nullptr);
    return good;
}

void replace_in_all()
{
    const bool cancelled = V_ApiModalDialog(dialog, V_ApiOpenResource(dialog, "Replace")) != 0;
    IntT count = 0;
    for (const Document &d : work.documents)
        count += finish(d, d.count > 0 && !cancelled) ? d.count : 0;
    report(cancelled ? undone : saved, cancelled ? some_undone : some_saved, count);
}

} // namespace

// A document with changes that are not saved is left out: it could not be put back as it was.
void V_ApiDialogEvent(IntT, IntT item, IntT)
{
    if (item != replace_item || work.next == 0)
        return;
    Document d{work.next, 0, 0, 0, 0};
    work.next = V_ApiGetId(work.book, d.component, V_prop_next_component);
    d.id = open_document(work.book, d.component, 0, &d.opened_here);
    if (d.id && V_ApiGetInt(0, d.id, V_prop_changed) != 0) {
        note_failure_text(work.book, d.component, unsaved);
    } else if (d.id) {
        d.count = replace_in(d.id);
        work.documents.push_back(d);
    }
}

void V_ApiNotify(IntT, V_ObjHandleT document, StringT, IntT)
{
    for (Document &d : work.documents)
        d.touched |= d.id == document;
}

void V_ApiInitialize(IntT)
{
    V_ApiNotification(V_notification_text_changed, 1);
    begin("replace", replace_in_book, "ReplaceInBook", label);
}

void V_ApiCommand(IntT)
{
    const V_ObjHandleT book = V_ApiGetId(0, 0, V_prop_active_book);
    work = {book, V_ApiGetId(0, book, V_prop_first_component), ask(find_prompt), nullptr, {}};
    if (work.find && (work.replacement = ask(replace_prompt)))
        replace_in_all();
    V_ApiDeallocateString(&work.find);
    V_ApiDeallocateString(&work.replacement);
}
