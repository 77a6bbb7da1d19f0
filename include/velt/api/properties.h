/* The properties of the host's objects and of text.
 *
 * An object is named by two ids: the document or book that contains it, or 0, then its own; the
 * session is (0, 0). A property is named by number, or by name in the calls that end in ByName;
 * facts.h has the numbers that the reference host knows. Setters return nothing: their failure is
 * in VA_errno. Structure pointers must not be null. Failures otherwise as in session.h.
 */
#ifndef VELT_API_PROPERTIES_H
#define VELT_API_PROPERTIES_H

#include "velt/api/values.h"

VELT_BEGIN_DECLS

/* An integer; 0 on failure. */
IntT V_ApiGetInt(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
/* The same, by the property's name. */
IntT V_ApiGetIntByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName);
/* Writes an integer. */
void V_ApiSetInt(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, IntT value);
/* The same, by the property's name. */
void V_ApiSetIntByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName, IntT value);

/* The id of an object; 0 on failure. */
V_ObjHandleT V_ApiGetId(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
/* Writes an id. */
void V_ApiSetId(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, V_ObjHandleT value);

/* A length in the host's units; 0 on failure. */
MetricT V_ApiGetMetric(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
/* The same, by the property's name. */
MetricT V_ApiGetMetricByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName);
/* Writes a length in the host's units. */
void V_ApiSetMetric(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, MetricT value);
/* The same, by the property's name. */
void V_ApiSetMetricByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName, MetricT value);

/* A copy of a string, for V_ApiDeallocateString; null on failure. */
StringT V_ApiGetString(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
/* Writes a string; null counts as empty. */
void V_ApiSetString(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const char *value);

/* A place in text. */
V_TextLocT V_ApiGetTextLoc(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
/* Writes a place in text. */
void V_ApiSetTextLoc(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_TextLocT *value);
/* A range of text. */
V_TextRangeT V_ApiGetTextRange(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
/* Writes a range of text. */
void V_ApiSetTextRange(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_TextRangeT *value);
/* A range of the element structure. */
V_ElementRangeT V_ApiGetElementRange(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
/* Writes a range of the element structure. */
void V_ApiSetElementRange(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum,
                          const V_ElementRangeT *value);

/* A copy of a list of strings, for V_ApiDeallocateStrings. */
V_StringsT V_ApiGetStrings(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
/* Writes a list of strings; it stays the caller's. */
void V_ApiSetStrings(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_StringsT *value);
/* A copy of a list of lengths, for V_ApiDeallocateMetrics. */
V_MetricsT V_ApiGetMetrics(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
/* Writes a list of lengths; it stays the caller's. */
void V_ApiSetMetrics(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_MetricsT *value);
/* A copy of a list of integers, for V_ApiDeallocateInts. */
V_IntsT V_ApiGetInts(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
/* Writes a list of integers; it stays the caller's. */
void V_ApiSetInts(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_IntsT *value);
/* A copy of a list of points, for V_ApiDeallocatePoints. */
V_PointsT V_ApiGetPoints(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
/* Writes a list of points; it stays the caller's. */
void V_ApiSetPoints(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_PointsT *value);
/* A copy of a list of tab stops, for V_ApiDeallocateTabs. */
V_TabsT V_ApiGetTabs(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
/* Writes a list of tab stops; it stays the caller's. */
void V_ApiSetTabs(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_TabsT *value);
/* A copy of bytes, by the property's name, for V_ApiDeallocateUBytes. */
V_UBytesT V_ApiGetUBytesByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName);
/* Writes bytes, by the property's name; they stay the caller's. */
void V_ApiSetUBytesByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName,
                          const V_UBytesT *value);

/* A copy of a value of any kind, for V_ApiDeallocateVal. */
V_TypedValT V_ApiGetVal(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
/* Writes a value of any kind; it stays the caller's. */
void V_ApiSetVal(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_TypedValT *value);
/* A copy of a value with the property it belongs to, for V_ApiDeallocatePropVal. */
V_PropValT V_ApiGetPropVal(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum);
/* Writes the property that the value itself names. */
void V_ApiSetPropVal(V_ObjHandleT doc, V_ObjHandleT obj, const V_PropValT *value);
/* A copy of all properties of an object, for V_ApiDeallocatePropVals. */
V_PropValsT V_ApiGetProps(V_ObjHandleT doc, V_ObjHandleT obj);
/* Writes several properties; the list stays the caller's. */
void V_ApiSetProps(V_ObjHandleT doc, V_ObjHandleT obj, const V_PropValsT *values);
/* Deletes a named property. */
void V_ApiDeletePropByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName);

/* A copy of a property of the text at a place, for V_ApiDeallocateVal. */
V_TypedValT V_ApiGetTextVal(V_ObjHandleT doc, const V_TextLocT *loc, IntT propNum);
/* The same with the property it belongs to, for V_ApiDeallocatePropVal. */
V_PropValT V_ApiGetTextPropVal(V_ObjHandleT doc, const V_TextLocT *loc, IntT propNum);
/* A copy of all properties of the text at a place, for V_ApiDeallocatePropVals. */
V_PropValsT V_ApiGetTextProps(V_ObjHandleT doc, const V_TextLocT *loc);
/* Writes a property of the text in a range. */
void V_ApiSetTextVal(V_ObjHandleT doc, const V_TextRangeT *range, IntT propNum,
                     const V_TypedValT *value);
/* Writes the property that the value itself names over a range of text. */
void V_ApiSetTextPropVal(V_ObjHandleT doc, const V_TextRangeT *range, const V_PropValT *value);
/* Writes several properties over a range of text. */
void V_ApiSetTextProps(V_ObjHandleT doc, const V_TextRangeT *range, const V_PropValsT *values);

VELT_END_DECLS

#endif
