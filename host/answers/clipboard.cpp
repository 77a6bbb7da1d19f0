#include "host/answers/answers.h"

namespace velt::host
{
namespace
{

// Edits the selection, by a function of the model that returns the first paragraph it has changed.
IntT edit(Context &c, UIntT document, UIntT (Model::*change)(UIntT))
{
    return status_of([&] { announce_change(c, document, (c.model.*change)(document)); });
}

} // namespace

// The integers of these calls mean nothing here.

void Answer<api_vq_cut_1>::answer(Context &c, const ApiVqCutCopyPasteArgT &a, IntT &r)
{
    r = edit(c, a.docId, &Model::cut);
}

void Answer<api_vq_clear_1>::answer(Context &c, const ApiVqCutCopyPasteArgT &a, IntT &r)
{
    r = edit(c, a.docId, &Model::clear);
}

void Answer<api_vq_copy_1>::answer(Context &c, const ApiVqCutCopyPasteArgT &a, IntT &r)
{
    r = status_of([&] { c.model.copy(a.docId); });
}

void Answer<api_vq_paste_1>::answer(Context &c, const ApiVqCutCopyPasteArgT &a, IntT &r)
{
    r = edit(c, a.docId, &Model::paste);
}

void Answer<api_vq_push_clipboard_1>::answer(Context &c)
{
    c.model.push_clipboard();
}

void Answer<api_vq_pop_clipboard_1>::answer(Context &c, IntT &r)
{
    r = status_of([&] { c.model.pop_clipboard(); });
}

} // namespace velt::host
