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
    int opened_here, touched, count; // touched by somebody else; replacements in it, -1: failed
};

struct {
    V_ObjHandleT book, next; // the component that comes next
    StringT find, replacement;
    std::vector<Document> documents; // that came already
} work;

void replace_in(Document &d)
{
    V_PropValsT options = find_options(work.find);
    VA_errno = V_error_none;
    for (V_TextLocT from{first_paragraph(d.id), 0}; VA_errno == V_error_none;) {
        const V_TextRangeT found = V_ApiFind(d.id, &from, &options);
        if (VA_errno == V_error_none)
            from = replace_text(d.id, &found, work.replacement);
        d.count += VA_errno == V_error_none;
    }
    if (VA_errno != V_status_not_found && failed(work.book, d.component))
        d.count = -1;
    V_ApiDeallocatePropVals(&options);
}

// Saves the document, or puts it back; what somebody else has changed stays open for them.
bool finish(const Document &d, bool save)
{
    const bool good = save && !d.touched && save_document(work.book, d.component, d.id);
    if (d.touched)
        note_failure(work.book, d.component, text_of(unsaved));
    else if (!good && d.count != 0)
        put_back(work.book, d.component, d.id, d.opened_here);
    else if (d.opened_here)
        V_ApiClose(d.id, V_close_losing);
    return good;
}

void replace_in_all()
{
    work.next = next_component(work.book, 0);
    const bool cancelled = V_ApiModalDialog(dialog, V_ApiOpenResource(dialog, "Replace")) != 0;
    failed(work.book, 0);
    IntT count = 0;
    for (const Document &d : work.documents)
        count += finish(d, d.count > 0 && !cancelled) ? d.count : 0;
    report(cancelled ? undone : saved, cancelled ? some_undone : some_saved, count);
}

} // namespace

// A document with changes that are not saved is left out: it could not be put back as it was.
void V_ApiDialogEvent(IntT, IntT item, IntT)
{
    if (item != replace_item || work.next == 0 || !work.replacement)
        return;
    Document d{work.next, 0, 0, 0, 0};
    work.next = next_component(work.book, d.component);
    d.id = open_document(work.book, d.component, 0, &d.opened_here);
    if (d.id && is_saved(work.book, d.component, d.id, unsaved))
        replace_in(work.documents.emplace_back(d));
    VA_errno = V_error_none; // what failed here is noted
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

void V_ApiCommand(IntT command)
{
    if (command != replace_in_book)
        return;
    work = {V_ApiGetId(0, 0, V_prop_active_book), 0, ask(find_prompt), nullptr, {}};
    if (work.find && (work.replacement = ask(replace_prompt)))
        replace_in_all();
    V_ApiDeallocateString(&work.find);
    V_ApiDeallocateString(&work.replacement);
}
