#include "host/answers/answers.h"

namespace velt::host
{
// The integers of these calls mean nothing here.

void Answer<api_vq_cut_1>::answer(Context &c, const ApiVqCutCopyPasteArgT &a, IntT &r)
{
    r = status_of([&] { c.model.cut(a.docId); });
}

void Answer<api_vq_clear_1>::answer(Context &c, const ApiVqCutCopyPasteArgT &a, IntT &r)
{
    r = status_of([&] { c.model.clear(a.docId); });
}

void Answer<api_vq_copy_1>::answer(Context &c, const ApiVqCutCopyPasteArgT &a, IntT &r)
{
    r = status_of([&] { c.model.copy(a.docId); });
}

void Answer<api_vq_paste_1>::answer(Context &c, const ApiVqCutCopyPasteArgT &a, IntT &r)
{
    r = status_of([&] { c.model.paste(a.docId); });
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
