/* Text: editing, reading, searching, spelling, dictionaries, thesaurus, hyphenation.
 *
 * Structure and list pointers must not be null. Failures as in session.h.
 */
#ifndef VELT_API_TEXT_H
#define VELT_API_TEXT_H

#include "velt/api/values.h"

VELT_BEGIN_DECLS

/* Inserts text; returns the place that the host answers. */
V_TextLocT V_ApiAddText(V_ObjHandleT doc, const V_TextLocT *loc, const char *text);
/* Deletes a range of text. */
IntT V_ApiDeleteText(V_ObjHandleT doc, const V_TextRangeT *range);
/* Replaces a range of text. 0 is success or no answer: only VA_errno tells. */
IntT V_ApiReplaceText(V_ObjHandleT doc, const V_TextRangeT *range, const char *text);
/* Scrolls a range of text into view. */
IntT V_ApiScrollToText(V_ObjHandleT doc, const V_TextRangeT *range);
/* Scrolls a range of text to the middle. */
IntT V_ApiCenterOnText(V_ObjHandleT doc, const V_TextRangeT *range);
/* Scrolls a graphic object to the middle. For the reference host, that of what is anchored selects
 * the place of the anchor. */
IntT V_ApiCenterOnGraphicObject(V_ObjHandleT doc, V_ObjHandleT obj);

/* Reads the text of an object. The host's selector, here and below, is unsigned on the wire; that
 * of the reference host is the sum of the bits of the items wanted, V_select_string, say, in
 * facts.h. */
TextItemsT V_ApiGetText(V_ObjHandleT doc, V_ObjHandleT obj, IntT int3);
/* The same with a second selector. */
TextItemsT V_ApiGetText2(V_ObjHandleT doc, V_ObjHandleT obj, IntT int3, IntT int4);
/* Reads a range of text. */
TextItemsT V_ApiGetTextForRange(V_ObjHandleT doc, const V_TextRangeT *range, IntT int3);
/* The same with a second selector. */
TextItemsT V_ApiGetTextForRange2(V_ObjHandleT doc, const V_TextRangeT *range, IntT int3, IntT int4);

/* Searches from a place on; returns the range found. The options of the reference host are
 * V_find_text, which must not be empty, and the others in facts.h. */
V_TextRangeT V_ApiFind(V_ObjHandleT doc, const V_TextLocT *start, const V_PropValsT *options);
/* Checks the spelling from a place on; returns the range that the host complains of, zeros on
 * failure. *intOut becomes the host's integer, V_spelling_unknown_word, say, in facts.h, and 0 on
 * failure; *listOut the suggestions, also of a refusal, for V_ApiDeallocateStrings; nothing when no
 * answer came. */
V_TextRangeT V_ApiSpell(V_ObjHandleT doc, const V_TextLocT *start, const V_PropValsT *options,
                        IntT *intOut, V_StringsT *listOut);
/* The host's default options of the spelling check, to be changed and passed to it. The list is the
 * caller's; it is empty when memory runs out. */
V_PropValsT V_ApiGetSpellDefaultParams(void);
/* Works on a dictionary: int4 is the operation, V_dictionary_add, say, in facts.h. Returns the
 * host's status, -1 when no answer came; *listOut becomes the host's strings, whatever the status,
 * for V_ApiDeallocateStrings. */
IntT V_ApiDictionary(V_ObjHandleT id1, const char *str2, IntT int3, IntT int4, V_StringsT *listOut);
/* The same for operations that return no strings. V_dictionary_read_out, which does, is refused
 * with V_error_reads_out, also in VA_errno, without asking the host. */
IntT V_ApiDictionaryOperation(V_ObjHandleT id1, const char *str2, IntT int3, IntT operation);
/* The strings of a dictionary, by V_dictionary_read_out; they are the caller's. */
V_StringsT V_ApiGetDictionaryStrings(V_ObjHandleT id1, IntT int2);
/* Changes a dictionary: int3 is the operation. 0 is success or no answer: only VA_errno tells. */
IntT V_ApiModifyDictionary(V_ObjHandleT id1, IntT int2, IntT int3, const char *str4);
/* Forgets the words that the spelling check has learnt. */
IntT V_ApiResetSpelling(V_ObjHandleT id1);
/* Looks a word up. Returns the host's status, -1 when no answer came; the four lists become the
 * host's, whatever the status, for V_ApiDeallocateStrings. */
IntT V_ApiThesaurus(IntT int1, const char *word, V_StringsT *listOut1, V_StringsT *listOut2,
                    V_StringsT *listOut3, V_StringsT *listOut4);
/* The word with its hyphens. */
StringT V_ApiShowHyphenation(const char *word);

VELT_END_DECLS

#endif
