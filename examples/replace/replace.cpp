// Finds a text in all documents of the active book and replaces it, with a dialog: each press on
// its first item replaces in the next document. When the dialog is cancelled, all documents are
// again as they were; otherwise they are saved.

#include <string>
#include <utility>
#include <vector>

#include "../common.h"

namespace
{

enum : IntT { replace_in_book = 1, alert_type = 2, dialog_number = 1, replace_item = 1 };
enum : IntT { label, find_prompt, replace_prompt, replaced, undone }; // string resources

struct {
    std::string find, replacement;
    std::vector<std::pair<std::string, V_ObjHandleT>> documents; // with their files
    std::size_t next = 0;                                        // the document that comes next
    IntT count = 0;                                              // of replacements
} work;

// A string from the library, which is released.
std::string taken(StringT string)
{
    std::string text = string ? string : "";
    V_ApiDeallocateString(&string);
    return text;
}

bool asked(IntT prompt, std::string &answer)
{
    char text[256] = "";
    V_SrGetN(prompt, text, sizeof text);
    StringT string = nullptr;
    const bool given = V_ApiPromptString(&string, text, "") == 0;
    answer = taken(string);
    return given;
}

V_ObjHandleT open(const std::string &file, IntT revert)
{
    V_PropValsT options = V_ApiGetOpenDefaultParams(), *returned = nullptr;
    V_ApiAppendIntProp(&options, V_open_revert, revert);
    const V_ObjHandleT doc = V_ApiOpen(file.c_str(), &options, &returned);
    V_ApiDeallocatePropVals(&options);
    return doc;
}

void replace_in(V_ObjHandleT doc)
{
    V_PropValsT options = V_ApiAllocatePropVals(0);
    V_ApiAppendStringProp(&options, V_find_text, work.find.c_str());
    const V_ObjHandleT flow = V_ApiGetId(0, doc, V_prop_first_flow);
    V_TextLocT from{V_ApiGetId(doc, flow, V_prop_first_paragraph), 0};
    for (;;) {
        const V_TextRangeT found = V_ApiFind(doc, &from, &options);
        if (found.beg.objId == 0)
            break;
        V_ApiDeleteText(doc, &found);
        from = V_ApiAddText(doc, &found.beg, work.replacement.c_str());
        work.count++;
    }
    V_ApiDeallocatePropVals(&options);
}

void replace_all()
{
    work = {};
    if (!asked(find_prompt, work.find) || !asked(replace_prompt, work.replacement))
        return;
    const V_ObjHandleT book = V_ApiGetId(0, 0, V_prop_active_book);
    for (V_ObjHandleT component = V_ApiGetId(0, book, V_prop_first_component); component;
         component = V_ApiGetId(book, component, V_prop_next_component)) {
        const std::string file = taken(component_file(book, component));
        if (const V_ObjHandleT doc = open(file, 0))
            work.documents.emplace_back(file, doc);
    }
    const V_ObjHandleT dialog = V_ApiOpenResource(dialog_number, "Replace");
    const bool cancelled = V_ApiModalDialog(dialog_number, dialog) != 0;
    V_PropValsT options = V_ApiGetSaveDefaultParams(), *returned = nullptr;
    for (const auto &[file, doc] : work.documents)
        cancelled ? open(file, 1) : V_ApiSave(doc, file.c_str(), &options, &returned);
    V_ApiDeallocatePropVals(&options);
    char message[256] = "";
    V_SrGetF(cancelled ? undone : replaced, message, sizeof message, "d", work.count);
    V_ApiAlert(message, alert_type);
}

} // namespace

void V_ApiDialogEvent(IntT, IntT item, IntT)
{
    if (item == replace_item && work.next < work.documents.size())
        replace_in(work.documents[work.next++].second);
}

void V_ApiInitialize(IntT)
{
    begin("replace", replace_in_book, "ReplaceInBook", label);
}

void V_ApiCommand(IntT command)
{
    if (command == replace_in_book)
        replace_all();
}
