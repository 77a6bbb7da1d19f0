// Objects and their properties.

#include "apilib/unix/apiclib/call.h"

using namespace velt;

// clang-format off

// Integers, ids, lengths, strings.

IntT V_ApiGetInt(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return scalar(api_vq_get_int_1, {doc, obj, {propNum, nullptr}}, &ApiVqGetIntRetT::result); }

IntT V_ApiGetIntByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName)
{ return scalar(api_vq_get_int_1, {doc, obj, by_name(propName)}, &ApiVqGetIntRetT::result); }

void V_ApiSetInt(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, IntT value)
{ set(api_vq_set_int_1, {doc, obj, {propNum, nullptr}, value}); }

void V_ApiSetIntByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName, IntT value)
{ set(api_vq_set_int_1, {doc, obj, by_name(propName), value}); }

V_ObjHandleT V_ApiGetId(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return scalar(api_vq_get_id_1, {doc, obj, {propNum, nullptr}}, &ApiVqGetIdRetT::result); }

void V_ApiSetId(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, V_ObjHandleT value)
{ set(api_vq_set_id_1, {doc, obj, {propNum, nullptr}, value}); }

MetricT V_ApiGetMetric(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return scalar(api_vq_get_metric_1, {doc, obj, {propNum, nullptr}}, &ApiVqGetMetricRetT::result); }

MetricT V_ApiGetMetricByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName)
{ return scalar(api_vq_get_metric_1, {doc, obj, by_name(propName)}, &ApiVqGetMetricRetT::result); }

void V_ApiSetMetric(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, MetricT value)
{ set(api_vq_set_metric_1, {doc, obj, {propNum, nullptr}, value}); }

void V_ApiSetMetricByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName, MetricT value)
{ set(api_vq_set_metric_1, {doc, obj, by_name(propName), value}); }

StringT V_ApiGetString(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return record(api_vq_get_string_1, {doc, obj, {propNum, nullptr}}, &ApiVqGetStringRetT::result); }

void V_ApiSetString(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const char *value)
{ set(api_vq_set_string_1, {doc, obj, {propNum, nullptr}, in(value)}); }

// Places in text and structure.

V_TextLocT V_ApiGetTextLoc(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return record(api_vq_get_textloc_1, {doc, obj, {propNum, nullptr}}, &ApiVqGetTextLocRetT::textLoc); }

void V_ApiSetTextLoc(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_TextLocT *value)
{ set(api_vq_set_textloc_1, {doc, obj, {propNum, nullptr}, *value}); }

V_TextRangeT V_ApiGetTextRange(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return record(api_vq_get_textrange_1, {doc, obj, {propNum, nullptr}}, &ApiVqGetTextRangeRetT::textRange); }

void V_ApiSetTextRange(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_TextRangeT *value)
{ set(api_vq_set_textrange_1, {doc, obj, {propNum, nullptr}, *value}); }

V_ElementRangeT V_ApiGetElementRange(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return record(api_vq_get_element_range_1, {doc, obj, {propNum, nullptr}}, &ApiVqGetElementRangeRetT::elemRange); }

void V_ApiSetElementRange(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_ElementRangeT *value)
{ set(api_vq_set_element_range_1, {doc, obj, {propNum, nullptr}, *value}); }

// Lists.

V_StringsT V_ApiGetStrings(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return record(api_vq_get_strings_1, {doc, obj, {propNum, nullptr}}, &ApiVqGetStringsRetT::strings); }

void V_ApiSetStrings(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_StringsT *value)
{ set(api_vq_set_strings_1, {doc, obj, {propNum, nullptr}, *value}); }

V_MetricsT V_ApiGetMetrics(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return record(api_vq_get_metrics_1, {doc, obj, {propNum, nullptr}}, &ApiVqGetMetricsRetT::metrics); }

void V_ApiSetMetrics(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_MetricsT *value)
{ set(api_vq_set_metrics_1, {doc, obj, {propNum, nullptr}, *value}); }

V_IntsT V_ApiGetInts(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return record(api_vq_get_ints_1, {doc, obj, {propNum, nullptr}}, &ApiVqGetIntsRetT::ints); }

void V_ApiSetInts(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_IntsT *value)
{ set(api_vq_set_ints_1, {doc, obj, {propNum, nullptr}, *value}); }

V_PointsT V_ApiGetPoints(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return record(api_vq_get_points_1, {doc, obj, {propNum, nullptr}}, &ApiVqGetPointsRetT::points); }

void V_ApiSetPoints(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_PointsT *value)
{ set(api_vq_set_points_1, {doc, obj, {propNum, nullptr}, *value}); }

V_TabsT V_ApiGetTabs(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return record(api_vq_get_tabs_1, {doc, obj, {propNum, nullptr}}, &ApiVqGetTabsRetT::tabs); }

void V_ApiSetTabs(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_TabsT *value)
{ set(api_vq_set_tabs_1, {doc, obj, {propNum, nullptr}, *value}); }

V_UBytesT V_ApiGetUBytesByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName)
{ return record(api_vq_get_ubytes_1, {doc, obj, by_name(propName)}, &ApiVqGetUBytesRetT::ubytes); }

void V_ApiSetUBytesByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName, const V_UBytesT *value)
{ set(api_vq_set_ubytes_1, {doc, obj, by_name(propName), *value}); }

// Values of any kind.

V_TypedValT V_ApiGetVal(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return record(api_vq_get_val_1, {doc, obj, {propNum, nullptr}}, &ApiVqGetValRetT::typedVal); }

void V_ApiSetVal(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_TypedValT *value)
{ set(api_vq_set_val_1, {doc, obj, {propNum, nullptr}, *value}); }

V_PropValT V_ApiGetPropVal(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return record(api_vq_get_prop_1, {doc, obj, {propNum, nullptr}}, &ApiVqGetPropRetT::propVal); }

void V_ApiSetPropVal(V_ObjHandleT doc, V_ObjHandleT obj, const V_PropValT *value)
{ set(api_vq_set_prop_1, {doc, obj, *value}); }

V_PropValsT V_ApiGetProps(V_ObjHandleT doc, V_ObjHandleT obj)
{ return record(api_vq_get_props_1, {doc, obj}, &ApiVqGetPropsRetT::params); }

void V_ApiSetProps(V_ObjHandleT doc, V_ObjHandleT obj, const V_PropValsT *values)
{ set(api_vq_set_props_1, {doc, obj, *values}); }

void V_ApiDeletePropByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName)
{ set(api_vq_delete_prop_1, {doc, obj, by_name(propName)}); }

// Properties of text.

V_TypedValT V_ApiGetTextVal(V_ObjHandleT doc, const V_TextLocT *loc, IntT propNum)
{ return record(api_vq_get_text_val_1, {doc, *loc, {propNum, nullptr}}, &ApiVqGetValRetT::typedVal); }

V_PropValT V_ApiGetTextPropVal(V_ObjHandleT doc, const V_TextLocT *loc, IntT propNum)
{ return record(api_vq_get_text_prop_1, {doc, *loc, {propNum, nullptr}}, &ApiVqGetPropRetT::propVal); }

V_PropValsT V_ApiGetTextProps(V_ObjHandleT doc, const V_TextLocT *loc)
{ return record(api_vq_get_text_props_1, {doc, *loc}, &ApiVqGetPropsRetT::params); }

void V_ApiSetTextVal(V_ObjHandleT doc, const V_TextRangeT *range, IntT propNum, const V_TypedValT *value)
{ set(api_vq_set_text_val_1, {doc, *range, {propNum, nullptr}, *value}); }

void V_ApiSetTextPropVal(V_ObjHandleT doc, const V_TextRangeT *range, const V_PropValT *value)
{ set(api_vq_set_text_prop_1, {doc, *range, {0, nullptr}, *value}); }

void V_ApiSetTextProps(V_ObjHandleT doc, const V_TextRangeT *range, const V_PropValsT *values)
{ set(api_vq_set_text_props_1, {doc, *range, *values}); }

// Finding, creating, testing, deleting.

V_ObjHandleT V_ApiGetNamedObject(V_ObjHandleT doc, IntT type, const char *name)
{ return scalar(api_vq_get_named_object_1, {doc, type, in(name)}, &ApiVqObjRetT::objId); }

V_ObjHandleT V_ApiGetUniqueObject(V_ObjHandleT doc, IntT type, IntT number)
{ return scalar(api_vq_get_unique_object_1, {doc, type, number}, &ApiVqObjRetT::objId); }

V_ObjHandleT V_ApiNewGraphicObject(V_ObjHandleT doc, IntT type, V_ObjHandleT parent)
{ return scalar(api_vq_new_graphic_object_1, {doc, type, parent}, &ApiVqObjRetT::objId); }

V_ObjHandleT V_ApiNewNamedObject(V_ObjHandleT doc, IntT type, const char *name)
{ return scalar(api_vq_new_named_object_1, {doc, type, in(name)}, &ApiVqObjRetT::objId); }

V_ObjHandleT V_ApiNewAnchoredObject(V_ObjHandleT doc, IntT type, const V_TextLocT *loc)
{ return scalar(api_vq_new_anchored_object_1, {doc, type, *loc}, &ApiVqObjRetT::objId); }

V_ObjHandleT V_ApiNewAnchoredFormattedObject(V_ObjHandleT doc, IntT type, const char *format, const V_TextLocT *loc)
{ return scalar(api_vq_new_anchored_formatted_object_1, {doc, type, in(format), *loc}, &ApiVqObjRetT::objId); }

V_ObjHandleT V_ApiNewSubObject(V_ObjHandleT doc, V_ObjHandleT parent, IntT type)
{ return scalar(api_vq_new_sub_object_1, {doc, parent, type}, &ApiVqObjRetT::objId); }

V_ObjHandleT V_ApiNewSeriesObject(V_ObjHandleT doc, IntT type, V_ObjHandleT previous)
{ return scalar(api_vq_new_series_object_1, {doc, type, previous}, &ApiVqObjRetT::objId); }

IntT V_ApiObjectValid(V_ObjHandleT doc, V_ObjHandleT obj)
{ return status(api_vq_object_valid_1, {doc, obj}) == 0; }

IntT V_ApiDelete(V_ObjHandleT doc, V_ObjHandleT obj)
{ return status(api_vq_delete_1, {doc, obj}); }
