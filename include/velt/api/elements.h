/* The element structure of structured documents, and attributes.
 *
 * Some calls return nothing: their failure is in VA_errno. Structure pointers must not be null.
 * Failures otherwise as in session.h.
 */
#ifndef VELT_API_ELEMENTS_H
#define VELT_API_ELEMENTS_H

#include "velt/api/values.h"

VELT_BEGIN_DECLS

/* Creates an element of a definition at a place in text; returns its id. */
V_ObjHandleT V_ApiNewElement(V_ObjHandleT doc, V_ObjHandleT def, const V_TextLocT *loc);
/* Creates an element of a definition at a place in the structure; returns its id. */
V_ObjHandleT V_ApiNewElementInHierarchy(V_ObjHandleT doc, V_ObjHandleT def,
                                        const V_ElementLocT *loc);
/* Wraps the selection in an element of a definition. */
void V_ApiWrapElement(V_ObjHandleT doc, V_ObjHandleT def);
/* Removes the selected element but keeps its contents. */
void V_ApiUnWrapElement(V_ObjHandleT doc);
/* Merges the selected elements into the first of them. */
void V_ApiMergeIntoFirst(V_ObjHandleT doc);
/* Merges the selected elements into the last of them. */
void V_ApiMergeIntoLast(V_ObjHandleT doc);
/* Splits the selected element. */
void V_ApiSplitElement(V_ObjHandleT doc);
/* Moves the selected element a level up. */
void V_ApiPromoteElement(V_ObjHandleT doc);
/* Moves the selected element a level down. */
void V_ApiDemoteElement(V_ObjHandleT doc);
/* The place in text of a place in the structure. */
V_TextLocT V_ApiElementLocToTextLoc(V_ObjHandleT doc, const V_ElementLocT *loc);
/* The place in the structure of a place in text. */
V_ElementLocT V_ApiTextLocToElementLoc(V_ObjHandleT doc, const V_TextLocT *loc);
/* The element catalogue of a document (its V_prop_element_catalog). */
V_ElementCatalogEntriesT V_ApiGetElementCatalog(V_ObjHandleT doc);
/* The attribute definitions of an element definition (its V_prop_attribute_definitions). */
V_AttributeDefsT V_ApiGetAttributeDefs(V_ObjHandleT doc, V_ObjHandleT def);
/* Writes them; the list stays the caller's. */
void V_ApiSetAttributeDefs(V_ObjHandleT doc, V_ObjHandleT def, const V_AttributeDefsT *value);
/* The attributes of an element (its V_prop_attributes). */
V_AttributesT V_ApiGetAttributes(V_ObjHandleT doc, V_ObjHandleT element);
/* Writes them; the list stays the caller's. */
void V_ApiSetAttributes(V_ObjHandleT doc, V_ObjHandleT element, const V_AttributesT *value);
/* Deletes an attribute that has no definition. */
IntT V_ApiDeleteUndefinedAttribute(V_ObjHandleT id1, const char *attribute, IntT int3,
                                   V_ObjHandleT id4);

VELT_END_DECLS

#endif
