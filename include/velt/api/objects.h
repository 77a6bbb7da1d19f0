/* Objects of the host and their properties.
 *
 * An object is named by two ids: the document or book that contains it, or 0, then its own; the
 * session is (0, 0). A property is named by number, or by name in the calls that end in ByName. The
 * getters of strings, lists and values return copies, which the caller releases with the matching
 * V_ApiDeallocate call; on failure all fields are 0. Setters return nothing; their failure is in
 * VA_errno. Record pointers must not be null. Failures otherwise as in clients.h.
 */
#ifndef VELT_API_OBJECTS_H
#define VELT_API_OBJECTS_H

#include "velt/api/values.h"

VELT_BEGIN_DECLS

/* Integers. */
IntT V_ApiGetInt(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
IntT V_ApiGetIntByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName);
void V_ApiSetInt(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, IntT value);
void V_ApiSetIntByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName, IntT value);

/* Object ids. */
V_ObjHandleT V_ApiGetId(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
void V_ApiSetId(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, V_ObjHandleT value);

/* Lengths. */
MetricT V_ApiGetMetric(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
MetricT V_ApiGetMetricByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName);
void V_ApiSetMetric(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, MetricT value);
void V_ApiSetMetricByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName, MetricT value);

/* Strings. */
StringT V_ApiGetString(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
void V_ApiSetString(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const char *value);

/* Places in text and structure. */
V_TextLocT V_ApiGetTextLoc(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
void V_ApiSetTextLoc(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_TextLocT *value);
V_TextRangeT V_ApiGetTextRange(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
void V_ApiSetTextRange(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_TextRangeT *value);
V_ElementRangeT V_ApiGetElementRange(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
void V_ApiSetElementRange(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum,
                          const V_ElementRangeT *value);

/* Lists. */
V_StringsT V_ApiGetStrings(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
void V_ApiSetStrings(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_StringsT *value);
V_MetricsT V_ApiGetMetrics(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
void V_ApiSetMetrics(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_MetricsT *value);
V_IntsT V_ApiGetInts(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
void V_ApiSetInts(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_IntsT *value);
V_PointsT V_ApiGetPoints(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
void V_ApiSetPoints(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_PointsT *value);
V_TabsT V_ApiGetTabs(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
void V_ApiSetTabs(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_TabsT *value);
V_UBytesT V_ApiGetUBytesByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName);
void V_ApiSetUBytesByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName,
                          const V_UBytesT *value);

/* Values of any kind. */
V_TypedValT V_ApiGetVal(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
void V_ApiSetVal(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_TypedValT *value);
V_PropValT V_ApiGetPropVal(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
/* Sets the property that the value itself names. */
void V_ApiSetPropVal(V_ObjHandleT doc, V_ObjHandleT obj, const V_PropValT *value);
/* All properties of an object. */
V_PropValsT V_ApiGetProps(V_ObjHandleT doc, V_ObjHandleT obj);
void V_ApiSetProps(V_ObjHandleT doc, V_ObjHandleT obj, const V_PropValsT *values);
void V_ApiDeletePropByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName);

/* Properties of text: read at a location, written over a range. */
V_TypedValT V_ApiGetTextVal(V_ObjHandleT doc, const V_TextLocT *loc, IntT propNum);
V_PropValT V_ApiGetTextPropVal(V_ObjHandleT doc, const V_TextLocT *loc, IntT propNum);
V_PropValsT V_ApiGetTextProps(V_ObjHandleT doc, const V_TextLocT *loc);
void V_ApiSetTextVal(V_ObjHandleT doc, const V_TextRangeT *range, IntT propNum,
                     const V_TypedValT *value);
void V_ApiSetTextPropVal(V_ObjHandleT doc, const V_TextRangeT *range, const V_PropValT *value);
void V_ApiSetTextProps(V_ObjHandleT doc, const V_TextRangeT *range, const V_PropValsT *values);

/* Finding and creating: each returns the object's id. `type` is the host's object type number. */
V_ObjHandleT V_ApiGetNamedObject(V_ObjHandleT doc, IntT type, const char *name);
V_ObjHandleT V_ApiGetUniqueObject(V_ObjHandleT doc, IntT type, IntT number);
V_ObjHandleT V_ApiNewGraphicObject(V_ObjHandleT doc, IntT type, V_ObjHandleT parent);
V_ObjHandleT V_ApiNewNamedObject(V_ObjHandleT doc, IntT type, const char *name);
V_ObjHandleT V_ApiNewAnchoredObject(V_ObjHandleT doc, IntT type, const V_TextLocT *loc);
V_ObjHandleT V_ApiNewAnchoredFormattedObject(V_ObjHandleT doc, IntT type, const char *format,
                                             const V_TextLocT *loc);
V_ObjHandleT V_ApiNewSubObject(V_ObjHandleT doc, V_ObjHandleT parent, IntT type);
V_ObjHandleT V_ApiNewSeriesObject(V_ObjHandleT doc, IntT type, V_ObjHandleT previous);
/* 1 when the object exists, else 0, with the host's status in VA_errno. */
IntT V_ApiObjectValid(V_ObjHandleT doc, V_ObjHandleT obj);
/* Deletes an object. Status. */
IntT V_ApiDelete(V_ObjHandleT doc, V_ObjHandleT obj);

VELT_END_DECLS

#endif
