/* The value types of the interface, and the calls that allocate, copy and release them.
 *
 * The types stand in tables/values.def. A copy is always deep and belongs to the caller; a release
 * leaves the structure empty (null pointers, count 0), so that a second release is harmless, and
 * ignores a null pointer. When memory runs out an allocation or copy is empty.
 */
#ifndef VELT_API_VALUES_H
#define VELT_API_VALUES_H

#include <stddef.h>

#include "velt/decl.h"
#include "velt/scalars.h"

#include "velt/tables/structures.h"

#include "velt/tables/values.def"

/* Arguments of a file filter, from a notification of code 75; borrowed during the callback. */
typedef struct V_FilterArgsT {
    StringT args[6];      /* the first six, in order; unused ones null */
    V_StringsT extraArgs; /* the seventh and later */
} V_FilterArgsT;

VELT_BEGIN_DECLS

/* A copy of a list; null counts as empty. One for each list type: V_ApiCopyStrings, say. */
#define V_LIST(name, element, plural) name V_ApiCopy##plural(const name *list);
#include "velt/tables/values.def"

/* Releases the elements and the array of a list. One for each list type. */
#define V_LIST(name, element, plural) void V_ApiDeallocate##plural(name *list);
#include "velt/tables/values.def"

/* Allocates memory on the process heap; null when it runs out. */
void *VapiMalloc(size_t size);
/* The same, zero-filled. */
void *VapiCalloc(size_t count, size_t size);
/* Resizes; a null pointer allocates, and on failure the old block stays. */
void *VapiRealloc(void *pointer, size_t size);
/* Releases memory that the library handed out; null is ignored. */
void V_ApiFree(void *pointer);

/* Bytes before the terminator; 0 for null. */
IntT V_ApiStringLen(const char *s);
/* A new copy; of null, a new empty string; null when memory runs out. */
StringT V_ApiCopyString(const char *s);
/* Releases *sp and sets it to null; a null sp is ignored. */
void V_ApiDeallocateString(StringT *sp);

/* Index of the first property with this number (0 finds named ones), or V_error_no_such_entry. */
IntT V_ApiGetPropIndex(const V_PropValsT *list, IntT propNum);
/* A zero-filled list of `count` properties. */
V_PropValsT V_ApiAllocatePropVals(IntT count);
/* Sets property propNum to a copy of the value: replaces the first entry of that number, else
 * appends. When memory runs out the list stays as it was. */
void V_ApiAppendVal(V_PropValsT *list, IntT propNum, const V_TypedValT *value);
/* The same with an integer (V_kind_integer). */
void V_ApiAppendIntProp(V_PropValsT *list, IntT propNum, IntT value);
/* The same with a copy of a string (V_kind_string). */
void V_ApiAppendStringProp(V_PropValsT *list, IntT propNum, const char *value);

/* Appends a string to a list whose array, grown by 16 entries at a time, only this call has made.
 * The list becomes the owner of the string; when memory runs out it stays as it was, and the string
 * the caller's. */
void addfstr(V_StringsT *list, StringT s);

/* A copy of a value; null gives zero. */
V_TypedValT V_ApiCopyVal(const V_TypedValT *value);
/* Releases what the value owns; its kind stays. */
void V_ApiDeallocateVal(V_TypedValT *value);

/* A copy of a property; null gives number 0 and the integer 0. */
V_PropValT V_ApiCopyPropVal(const V_PropValT *entry);
/* Releases the name and the value. */
void V_ApiDeallocatePropVal(V_PropValT *entry);

/* A copy of an item; null gives an item of text, null. */
TextItemT V_ApiCopyTextItem(const TextItemT *item);
/* Releases the text of an item of text. */
void V_ApiDeallocateTextItem(TextItemT *item);
/* A zero-filled list of `count` items; for 0 the array still has one. */
TextItemsT V_ApiAllocateTextItems(IntT count);

/* A copy of a tab stop with its leader. */
V_TabT V_ApiCopyTab(const V_TabT *tab);
/* Releases the leader. */
void V_ApiDeallocateTab(V_TabT *tab);

/* A copy of an attribute definition. */
V_AttributeDefT V_ApiCopyAttributeDef(const V_AttributeDefT *def);
/* Releases its strings and lists. */
void V_ApiDeallocateAttributeDef(V_AttributeDefT *def);

/* A copy of an attribute. */
V_AttributeT V_ApiCopyAttribute(const V_AttributeT *attribute);
/* Releases its name and values. */
void V_ApiDeallocateAttribute(V_AttributeT *attribute);

/* A new structure of the arguments in `packed`, which byte 30 separates; null when memory runs out.
 * Release with VdeApiDeallocateFilterArgs, then V_Free. */
V_FilterArgsT *VdeApiExpandFilterArgs(const char *packed);
/* Releases the strings and the list in the structure, not the structure itself. */
void VdeApiDeallocateFilterArgs(V_FilterArgsT *arguments);

VELT_END_DECLS

#endif
