// Text: editing, reading, searching, spelling and the word books.

#include "apilib/unix/apiclib/call.h"

using namespace velt;

// clang-format off

V_TextLocT V_ApiAddText(V_ObjHandleT doc, const V_TextLocT *loc, const char *text)
{ return aggregate(api_vq_add_text_1, {doc, *loc, in(text)}, &ApiVqAddTextRetT::textLoc); }

IntT V_ApiDeleteText(V_ObjHandleT doc, const V_TextRangeT *range)
{ return status(api_vq_delete_text_1, {doc, *range}); }

IntT V_ApiReplaceText(V_ObjHandleT doc, const V_TextRangeT *range, const char *text)
{ return status(api_vq_replace_text_1, {doc, *range, in(text)}, 0); }

IntT V_ApiScrollToText(V_ObjHandleT doc, const V_TextRangeT *range)
{ return status(api_vq_scroll_to_text_1, {doc, *range}); }

IntT V_ApiCenterOnText(V_ObjHandleT doc, const V_TextRangeT *range)
{ return status(api_vq_center_on_text_1, {doc, *range}); }

IntT V_ApiCenterOnGraphicObject(V_ObjHandleT doc, V_ObjHandleT obj)
{ return status(api_vq_center_on_graphic_object_1, {doc, obj}); }

TextItemsT V_ApiGetText(V_ObjHandleT doc, V_ObjHandleT obj, IntT int3)
{ return aggregate(api_vq_get_text_1, {doc, obj, in(int3)}, &ApiVqGetTextRetT::items); }

TextItemsT V_ApiGetText2(V_ObjHandleT doc, V_ObjHandleT obj, IntT int3, IntT int4)
{ return aggregate(api_vq_get_text2_1, {doc, obj, in(int3), in(int4)}, &ApiVqGetTextRetT::items); }

TextItemsT V_ApiGetTextForRange(V_ObjHandleT doc, const V_TextRangeT *range, IntT int3)
{ return aggregate(api_vq_get_text_for_range_1, {doc, *range, in(int3)}, &ApiVqGetTextRetT::items); }

TextItemsT V_ApiGetTextForRange2(V_ObjHandleT doc, const V_TextRangeT *range, IntT int3, IntT int4)
{ return aggregate(api_vq_get_text_for_range2_1, {doc, *range, in(int3), in(int4)}, &ApiVqGetTextRetT::items); }

V_TextRangeT V_ApiFind(V_ObjHandleT doc, const V_TextLocT *start, const V_PropValsT *options)
{ return aggregate(api_vq_find_1, {doc, *start, *options}, &ApiVqFindRetT::textRange); }

IntT V_ApiModifyDictionary(V_ObjHandleT id1, IntT int2, IntT int3, const char *str4)
{ return status(api_vq_modifydictionary_1, {id1, int2, int3, in(str4)}, 0); }

IntT V_ApiResetSpelling(V_ObjHandleT id1)
{ return status(api_vq_resetspelling_1, {id1}); }

StringT V_ApiShowHyphenation(const char *word)
{ return aggregate(api_vq_showhyphenation_1, {in(word)}, &ApiVqShowHyphenationRetT::str1); }

// clang-format on

V_TextRangeT V_ApiSpell(V_ObjHandleT doc, const V_TextLocT *start, const V_PropValsT *options,
                        IntT *intOut, V_StringsT *listOut)
{
    ApiVqSpellArgT arg{doc, *start, *options};
    Answer<ApiVqSpellRetT> answer(api_vq_spell_1, arg);
    *listOut = answer ? take(answer->strings4) : V_StringsT{};
    bool found = answer.success();
    *intOut = found ? answer->int3 : 0;
    return found ? answer->textRange : V_TextRangeT{};
}

IntT V_ApiDictionary(V_ObjHandleT id1, const char *str2, IntT int3, IntT int4, V_StringsT *listOut)
{
    ApiVqDictionaryArgT arg{id1, in(str2), int3, int4};
    Answer<ApiVqDictionaryRetT> answer(api_vq_dictionary_1, arg);
    *listOut = answer ? take(answer->strings) : V_StringsT{};
    return answer ? answer.noted(answer->status) : -1;
}

IntT V_ApiThesaurus(IntT int1, const char *word, V_StringsT *listOut1, V_StringsT *listOut2,
                    V_StringsT *listOut3, V_StringsT *listOut4)
{
    ApiVqThesaurusArgT arg{int1, in(word)};
    Answer<ApiVqThesaurusRetT> answer(api_vq_thesaurus_1, arg);
    *listOut1 = answer ? take(answer->strings1) : V_StringsT{};
    *listOut2 = answer ? take(answer->strings2) : V_StringsT{};
    *listOut3 = answer ? take(answer->strings3) : V_StringsT{};
    *listOut4 = answer ? take(answer->strings4) : V_StringsT{};
    return answer ? answer.noted(answer->status) : -1;
}
