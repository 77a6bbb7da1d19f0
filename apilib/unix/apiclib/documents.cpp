// Documents, books and files.

#include "apilib/unix/apiclib/call.h"

using namespace velt;

// clang-format off

V_ObjHandleT V_ApiOpen(const char *fileName, const V_PropValsT *options, V_PropValsT **returned)
{ return return_list(api_vq_open_1, {in(fileName), *options}, returned).id; }

V_ObjHandleT V_ApiSave(V_ObjHandleT doc, const char *fileName, const V_PropValsT *options, V_PropValsT **returned)
{ return return_list(api_vq_save_1, {in(fileName), doc, *options}, returned).id; }

V_ObjHandleT V_ApiImport(V_ObjHandleT doc, const V_TextLocT *loc, const char *fileName, const V_PropValsT *options, V_PropValsT **returned)
{ return return_list(api_vq_import_1, {in(fileName), doc, *loc, *options}, returned).id; }

IntT V_ApiExport(V_ObjHandleT doc, const char *fileName, const V_PropValsT *options, V_PropValsT **returned)
{ return return_list(api_vq_export_1, {in(fileName), doc, *options}, returned).status; }

IntT V_ApiClose(V_ObjHandleT doc, IntT int2)
{ return status(api_vq_close_1, {doc, int2}); }

V_ObjHandleT V_ApiCustomDoc(IntT int1, IntT int2, IntT int3, IntT int4, IntT int5, IntT int6, IntT int7, IntT int8, IntT int9, IntT int10)
{ return scalar(api_vq_custom_1, {int1, int2, int3, int4, int5, int6, int7, int8, int9, int10}, &ApiVqCustomDocRetT::result); }

V_ObjHandleT V_ApiCacheDocument(V_ObjHandleT doc)
{ return scalar(api_vq_cache_doc_1, {doc}, &ApiVqCustomDocRetT::result); }

IntT V_ApiSilentPrintDoc(V_ObjHandleT doc)
{ return status(api_vq_silent_print_doc_1, {doc}); }

IntT V_ApiSimpleImportFormats(V_ObjHandleT doc, V_ObjHandleT id2, IntT int3)
{ return status(api_vq_simple_import_formats_1, {doc, id2, int3}); }

IntT V_ApiSimpleImportElementDefs(V_ObjHandleT doc, V_ObjHandleT id2, IntT int3)
{ return status(api_vq_simple_import_element_defs_1, {doc, id2, int3}); }

IntT V_ApiSimpleGenerate(V_ObjHandleT id1, IntT int2, IntT int3)
{ return status(api_vq_simple_generate_1, {id1, int2, int3}); }

IntT V_ApiUpdateXRefs(V_ObjHandleT doc, IntT int2)
{ return status(api_vq_update_xrefs_1, {doc, int2}); }

IntT V_ApiApplyPageLayout(V_ObjHandleT id1, V_ObjHandleT id2, V_ObjHandleT id3)
{ return status(api_vq_apply_page_layout_1, {id1, id2, id3}); }

IntT V_ApiUpdateTextInset(V_ObjHandleT doc, V_ObjHandleT inset)
{ return status(api_vq_update_textinset_1, {doc, inset}); }

IntT V_ApiDeleteTextInsetContents(V_ObjHandleT doc, V_ObjHandleT inset)
{ return status(api_vq_delete_textinset_contents_1, {doc, inset}); }

V_ObjHandleT V_ApiNewBookComponentInHierarchy(V_ObjHandleT book, const char *name, const V_ElementLocT *loc)
{ return scalar(api_vq_new_book_component_in_hierarchy_1, {book, in(name), *loc}, &ApiVqObjRetT::objId); }

// The whole document.

IntT V_ApiRestartPgfNumbering(V_ObjHandleT doc)
{ return status(api_vq_restart_pgf_numbering_1, {doc}); }

IntT V_ApiRehyphenate(V_ObjHandleT doc)
{ return status(api_vq_rehyphenate_1, {doc}); }

IntT V_ApiClearAllChangebars(V_ObjHandleT doc)
{ return status(api_vq_clear_all_changebars_1, {doc}); }

IntT V_ApiResetEqnSettings(V_ObjHandleT doc)
{ return status(api_vq_reset_eqn_settings_1, {doc}); }

IntT V_ApiResetReferenceFrames(V_ObjHandleT doc)
{ return status(api_vq_reset_reference_frames_1, {doc}); }

IntT V_ApiUpdateVariables(V_ObjHandleT doc)
{ return status(api_vq_update_variables_1, {doc}); }

IntT V_ApiReformat(V_ObjHandleT doc)
{ return status(api_vq_reformat_1, {doc}); }

IntT V_ApiRedisplay(V_ObjHandleT doc)
{ return status(api_vq_redisplay_1, {doc}); }

// clang-format on

V_CompareRetT V_ApiCompare(V_ObjHandleT id1, V_ObjHandleT id2, IntT int3, const char *str4,
                           const char *str5, const char *str6, IntT int7)
{
    ApiVqCompareArgT arg{id1, id2, int3, in(str4), in(str5), in(str6), int7};
    Answer<ApiVqCompareRetT> answer(api_vq_compare_1, arg);
    return answer.success() ? V_CompareRetT{answer->firstId, answer->secondId} : V_CompareRetT{};
}
