/* Documents, books and files.
 *
 * Opening, saving, importing and exporting take a list of options and hand back a list that tells
 * what happened, also when the host refuses: the caller passes the address of a pointer, which must
 * be null at first. What it points to is released, and the pointer set to the list of this call,
 * which belongs to the library and stays until the next call of the same operation. Without an
 * answer it stays as it was. Structure pointers must not be null. Failures otherwise as in
 * session.h.
 */
#ifndef VELT_API_DOCUMENTS_H
#define VELT_API_DOCUMENTS_H

#include "velt/api/values.h"

/* The two ids that a comparison returns; the host says what they are. */
typedef struct V_CompareRetT {
    UIntT firstId;
    UIntT secondId;
} V_CompareRetT;

VELT_BEGIN_DECLS

/* Opens a document or book; returns its id. */
V_ObjHandleT V_ApiOpen(const char *fileName, const V_PropValsT *options, V_PropValsT **returned);
/* Saves a document or book; returns the id that the host answers. The reference host saves it in
 * its own file when the name is null or empty; one that has no file yet gets the file of this name,
 * and is refused without a name. */
V_ObjHandleT V_ApiSave(V_ObjHandleT doc, const char *fileName, const V_PropValsT *options,
                       V_PropValsT **returned);
/* Imports a file at a place in a document's text; returns the id that the host answers. */
V_ObjHandleT V_ApiImport(V_ObjHandleT doc, const V_TextLocT *loc, const char *fileName,
                         const V_PropValsT *options, V_PropValsT **returned);
/* Exports a document to a file. 0 is success or no answer: only VA_errno tells. */
IntT V_ApiExport(V_ObjHandleT doc, const char *fileName, const V_PropValsT *options,
                 V_PropValsT **returned);

/* The host's default options of an operation, to be changed and passed to it. The list is the
 * caller's; it is empty when memory runs out. */
V_PropValsT V_ApiGetOpenDefaultParams(void);
V_PropValsT V_ApiGetSaveDefaultParams(void);
V_PropValsT V_ApiGetImportDefaultParams(void);
V_PropValsT V_ApiGetExportDefaultParams(void);
/* One bit of the status in a returned list, in its place: for bit 5 that is 32 or 0. 0 with
 * VA_errno V_error_no_status when the list has no status, V_error_no_such_entry when the status has
 * no such bit. */
IntT V_ApiCheckStatus(const V_PropValsT *returned, IntT statusBit);

/* Closes a document or book. For the reference host int2 is V_close_asking or V_close_losing. */
IntT V_ApiClose(V_ObjHandleT doc, IntT int2);
/* Creates a document of custom measures; returns its id. */
V_ObjHandleT V_ApiCustomDoc(IntT int1, IntT int2, IntT int3, IntT int4, IntT int5, IntT int6,
                            IntT int7, IntT int8, IntT int9, IntT int10);
/* Has the host cache a document; returns the id that it answers. */
V_ObjHandleT V_ApiCacheDocument(V_ObjHandleT doc);
/* Prints a document without asking the user. */
IntT V_ApiSilentPrintDoc(V_ObjHandleT doc);
/* Imports formats into a document. */
IntT V_ApiSimpleImportFormats(V_ObjHandleT doc, V_ObjHandleT id2, IntT int3);
/* Imports element definitions into a document. */
IntT V_ApiSimpleImportElementDefs(V_ObjHandleT doc, V_ObjHandleT id2, IntT int3);
/* Generates the files that a book asks for. */
IntT V_ApiSimpleGenerate(V_ObjHandleT id1, IntT int2, IntT int3);
/* Compares two documents or books; returns two ids, both 0 on failure. */
V_CompareRetT V_ApiCompare(V_ObjHandleT id1, V_ObjHandleT id2, IntT int3, const char *str4,
                           const char *str5, const char *str6, IntT int7);
/* Brings cross-references up to date. */
IntT V_ApiUpdateXRefs(V_ObjHandleT doc, IntT int2);
/* Applies a page layout. */
IntT V_ApiApplyPageLayout(V_ObjHandleT id1, V_ObjHandleT id2, V_ObjHandleT id3);
/* Brings a text inset up to date. */
IntT V_ApiUpdateTextInset(V_ObjHandleT doc, V_ObjHandleT inset);
/* Deletes the contents of a text inset. */
IntT V_ApiDeleteTextInsetContents(V_ObjHandleT doc, V_ObjHandleT inset);
/* Creates a book component at a place in the book's structure; returns its id. */
V_ObjHandleT V_ApiNewBookComponentInHierarchy(V_ObjHandleT book, const char *name,
                                              const V_ElementLocT *loc);

/* Begins the numbering of paragraphs anew. */
IntT V_ApiRestartPgfNumbering(V_ObjHandleT doc);
/* Hyphenates the document again. */
IntT V_ApiRehyphenate(V_ObjHandleT doc);
/* Removes all change bars. */
IntT V_ApiClearAllChangebars(V_ObjHandleT doc);
/* Resets the settings of equations. */
IntT V_ApiResetEqnSettings(V_ObjHandleT doc);
/* Resets the reference frames. */
IntT V_ApiResetReferenceFrames(V_ObjHandleT doc);
/* Brings variables up to date. */
IntT V_ApiUpdateVariables(V_ObjHandleT doc);
/* Formats the document again. */
IntT V_ApiReformat(V_ObjHandleT doc);
/* Draws the document again. */
IntT V_ApiRedisplay(V_ObjHandleT doc);

VELT_END_DECLS

#endif
