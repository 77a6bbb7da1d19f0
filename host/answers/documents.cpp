#include <iterator>
#include <new>

#include "host/answers/options.h"

namespace velt::host
{
namespace
{

// Returns the mode of a new file.
mode_t mode(const OptionList &options, IntT number)
{
    constexpr IntT usual = 0666, permissions = 0777;
    const V_TypedValT *given = options.value(number);
    const IntT mode = given ? given->u.intVal : usual;
    if ((mode & ~permissions) != 0)
        throw StatusError(bad_value, "option " + std::to_string(number) +
                                         ": a mode has no other bits than those of octal 777");
    return static_cast<mode_t>(mode);
}

// Returns the list that tells what came of the operation.
V_PropValsT *returned_list(const Documents &documents, const FileOutcome &outcome)
{
    IntT words = static_cast<IntT>(outcome.words);
    std::string file = documents.told(outcome.file), reason = documents.told(outcome.reason);
    V_ValUnionT status{}, path{}, why{};
    status.intsVal = {1, &words};
    path.stringVal = file.data();
    why.stringVal = reason.data();
    V_PropValT entries[] = {{{V_returned_status, nullptr}, {kind::integers, status}},
                            {{V_returned_file, nullptr}, {kind::string, path}},
                            {{V_returned_reason, nullptr}, {kind::string, why}}};
    V_PropValsT list{};
    list.len = static_cast<UIntT>(std::size(entries));
    list.val = entries;
    auto *made = owned_struct<V_PropValsT>();
    try {
        *made = owned_copy(list);
    } catch (...) {
        V_ApiFree(made);
        throw;
    }
    return made;
}

// Tells the person of changes that the client has lost, whatever memory is left for that.
void tell_lost(Context &c, const FileOutcome &outcome)
{
    if (outcome.lost.empty())
        return;
    try {
        c.host.reports().of(c.client,
                            "lost the changes of " + outcome.lost + ", which were not saved");
    } catch (const std::bad_alloc &) {
        Reports::line(&c.host.reports(), "a client lost changes of a document");
    }
}

// Carries out the operation, unless its options are refused, and tells what came of it.
template <class Result, class Action>
void give(Context &c, Result &r, OptionList::Operation operation, const V_PropValsT &options,
          Action action)
{
    FileOutcome outcome;
    try {
        outcome = action(OptionList(operation, options));
        tell_lost(c, outcome);
    } catch (const StatusError &error) {
        outcome.status = error.status();
        outcome.reason = error.what();
    }
    r.status = outcome.status;
    r.docId = outcome.status == ok ? outcome.document : 0;
    r.retParams = returned_list(c.documents, outcome);
}

} // namespace

void Answer<api_vq_open_1>::answer(Context &c, const ApiVqOpenArgT &a, ApiVqOpenRetT &r)
{
    give(c, r, OptionList::Open, a.params, [&](const OptionList &options) {
        return c.documents.open(c.documents.beside_book(text(a.fileName)),
                                options.flag(V_open_revert), &c.client);
    });
}

void Answer<api_vq_save_1>::answer(Context &c, const ApiVqSaveArgT &a, ApiVqSaveRetT &r)
{
    give(c, r, OptionList::Save, a.params, [&](const OptionList &options) {
        return c.documents.save(a.docId, c.documents.beside_book(text(a.fileName)),
                                options.flag(V_save_force), mode(options, V_save_mode), &c.client);
    });
}

void Answer<api_vq_export_1>::answer(Context &c, const ApiVqExportArgT &a, ApiVqExportRetT &r)
{
    give(c, r, OptionList::Export, a.params, [&](const OptionList &options) {
        constexpr IntT plain_text = 8;
        const V_TypedValT *type = options.value(V_export_type);
        const V_TypedValT *range = options.value(V_export_range);
        if (type && type->u.intVal != plain_text)
            throw StatusError(not_supported,
                              "option " + std::to_string(V_export_type) + ": there is no type " +
                                  std::to_string(type->u.intVal) + ", only plain text, " +
                                  std::to_string(plain_text));
        const bool whole = !range || (range->u.textRangeVal.beg.objId == 0 &&
                                      range->u.textRangeVal.end.objId == 0);
        return c.documents.export_text(a.docId, c.documents.beside_book(text(a.fileName)),
                                       whole ? nullptr : &range->u.textRangeVal,
                                       options.flag(V_export_force), mode(options, V_export_mode));
    });
}

void Answer<api_vq_import_1>::answer(Context &c, const ApiVqImportArgT &a, ApiVqImportRetT &r)
{
    give(c, r, OptionList::Import, a.params, [&](const OptionList &) {
        return c.documents.import_text(a.docId, a.textLoc,
                                       c.documents.beside_book(text(a.fileName)));
    });
}

void Answer<api_vq_close_1>::answer(Context &c, const ApiVqCloseDocArgT &a, IntT &r)
{
    if (a.int2 != V_close_asking && a.int2 != V_close_losing) {
        r = bad_value;
        return;
    }
    const auto outcome = c.documents.close(a.docId, a.int2 == V_close_losing, &c.client);
    r = outcome.status;
    tell_lost(c, outcome);
}

void Answer<api_vq_revert_1>::answer(Context &c, const ApiVqGeneralDocArgT &a, IntT &r)
{
    const auto outcome = c.documents.revert(a.docId);
    r = outcome.status;
    tell_lost(c, outcome);
}

// The ten measures are ignored, because documents have no pages.
void Answer<api_vq_custom_1>::answer(Context &c, const ApiVqCustomDocArgT &, ApiVqCustomDocRetT &r)
{
    r.status = status_of([&] { r.result = c.documents.create(&c.client); });
}

// A document that is open is in memory already.
void Answer<api_vq_cache_doc_1>::answer(Context &c, const ApiVqSilentPrintDocArgT &a,
                                        ApiVqCustomDocRetT &r)
{
    r.status = status_of([&] {
        c.model.check_is_document(a.docId);
        r.result = a.docId;
    });
}

} // namespace velt::host
