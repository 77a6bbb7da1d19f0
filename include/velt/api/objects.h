/* Objects of the host: finding, creating, testing, deleting.
 *
 * An object is named by two ids: the document or book that contains it, or 0, then its own; the
 * session is (0, 0). Types are numbers of the host; facts.h has those that the reference host
 * knows. Failures as in session.h.
 */
#ifndef VELT_API_OBJECTS_H
#define VELT_API_OBJECTS_H

#include "velt/api/values.h"

VELT_BEGIN_DECLS

/* Finds an object by the host's type number and its name; 0 when there is none. */
V_ObjHandleT V_ApiGetNamedObject(V_ObjHandleT doc, IntT type, const char *name);
/* Finds an object by type and unique number; 0 when there is none. */
V_ObjHandleT V_ApiGetUniqueObject(V_ObjHandleT doc, IntT type, IntT number);
/* Creates a graphic object in a parent; returns its id. */
V_ObjHandleT V_ApiNewGraphicObject(V_ObjHandleT doc, IntT type, V_ObjHandleT parent);
/* Creates an object with a name; returns its id. */
V_ObjHandleT V_ApiNewNamedObject(V_ObjHandleT doc, IntT type, const char *name);
/* Creates an object anchored in text; returns its id. */
V_ObjHandleT V_ApiNewAnchoredObject(V_ObjHandleT doc, IntT type, const V_TextLocT *loc);
/* The same with a named format. */
V_ObjHandleT V_ApiNewAnchoredFormattedObject(V_ObjHandleT doc, IntT type, const char *format,
                                             const V_TextLocT *loc);
/* Creates a part of an object; returns its id. */
V_ObjHandleT V_ApiNewSubObject(V_ObjHandleT doc, V_ObjHandleT parent, IntT type);
/* Creates an object after another of its series; returns its id. */
V_ObjHandleT V_ApiNewSeriesObject(V_ObjHandleT doc, IntT type, V_ObjHandleT previous);
/* 1 when the object exists, else 0: VA_errno has the host's status, or -1 for no answer. */
IntT V_ApiObjectValid(V_ObjHandleT doc, V_ObjHandleT obj);
/* Deletes an object. */
IntT V_ApiDelete(V_ObjHandleT doc, V_ObjHandleT obj);

VELT_END_DECLS

#endif
