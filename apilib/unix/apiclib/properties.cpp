// The properties of objects and of text.

#include "apilib/unix/apiclib/call.h"

using namespace velt;

// clang-format off

// Integers, ids, lengths, strings.

IntT V_ApiGetInt(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return scalar(api_vq_get_int_1, {doc, obj, by_number(propNum)}, &ApiVqGetIntRetT::result); }

IntT V_ApiGetIntByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName)
{ return scalar(api_vq_get_int_1, {doc, obj, by_name(propName)}, &ApiVqGetIntRetT::result); }

void V_ApiSetInt(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, IntT value)
{ set(api_vq_set_int_1, {doc, obj, by_number(propNum), value}); }

void V_ApiSetIntByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName, IntT value)
{ set(api_vq_set_int_1, {doc, obj, by_name(propName), value}); }

V_ObjHandleT V_ApiGetId(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return scalar(api_vq_get_id_1, {doc, obj, by_number(propNum)}, &ApiVqGetIdRetT::result); }

void V_ApiSetId(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, V_ObjHandleT value)
{ set(api_vq_set_id_1, {doc, obj, by_number(propNum), value}); }

MetricT V_ApiGetMetric(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return scalar(api_vq_get_metric_1, {doc, obj, by_number(propNum)}, &ApiVqGetMetricRetT::result); }

MetricT V_ApiGetMetricByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName)
{ return scalar(api_vq_get_metric_1, {doc, obj, by_name(propName)}, &ApiVqGetMetricRetT::result); }

void V_ApiSetMetric(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, MetricT value)
{ set(api_vq_set_metric_1, {doc, obj, by_number(propNum), value}); }

void V_ApiSetMetricByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName, MetricT value)
{ set(api_vq_set_metric_1, {doc, obj, by_name(propName), value}); }

StringT V_ApiGetString(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return aggregate(api_vq_get_string_1, {doc, obj, by_number(propNum)}, &ApiVqGetStringRetT::result); }

void V_ApiSetString(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const char *value)
{ set(api_vq_set_string_1, {doc, obj, by_number(propNum), in(value)}); }

// Places in text and structure.

V_TextLocT V_ApiGetTextLoc(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return aggregate(api_vq_get_textloc_1, {doc, obj, by_number(propNum)}, &ApiVqGetTextLocRetT::textLoc); }

void V_ApiSetTextLoc(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_TextLocT *value)
{ set(api_vq_set_textloc_1, {doc, obj, by_number(propNum), *value}); }

V_TextRangeT V_ApiGetTextRange(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return aggregate(api_vq_get_textrange_1, {doc, obj, by_number(propNum)}, &ApiVqGetTextRangeRetT::textRange); }

void V_ApiSetTextRange(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_TextRangeT *value)
{ set(api_vq_set_textrange_1, {doc, obj, by_number(propNum), *value}); }

V_ElementRangeT V_ApiGetElementRange(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return aggregate(api_vq_get_element_range_1, {doc, obj, by_number(propNum)}, &ApiVqGetElementRangeRetT::elemRange); }

void V_ApiSetElementRange(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_ElementRangeT *value)
{ set(api_vq_set_element_range_1, {doc, obj, by_number(propNum), *value}); }

// Lists.

V_StringsT V_ApiGetStrings(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return aggregate(api_vq_get_strings_1, {doc, obj, by_number(propNum)}, &ApiVqGetStringsRetT::strings); }

void V_ApiSetStrings(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_StringsT *value)
{ set(api_vq_set_strings_1, {doc, obj, by_number(propNum), *value}); }

V_MetricsT V_ApiGetMetrics(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return aggregate(api_vq_get_metrics_1, {doc, obj, by_number(propNum)}, &ApiVqGetMetricsRetT::metrics); }

void V_ApiSetMetrics(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_MetricsT *value)
{ set(api_vq_set_metrics_1, {doc, obj, by_number(propNum), *value}); }

V_IntsT V_ApiGetInts(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return aggregate(api_vq_get_ints_1, {doc, obj, by_number(propNum)}, &ApiVqGetIntsRetT::ints); }

void V_ApiSetInts(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_IntsT *value)
{ set(api_vq_set_ints_1, {doc, obj, by_number(propNum), *value}); }

V_PointsT V_ApiGetPoints(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return aggregate(api_vq_get_points_1, {doc, obj, by_number(propNum)}, &ApiVqGetPointsRetT::points); }

void V_ApiSetPoints(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_PointsT *value)
{ set(api_vq_set_points_1, {doc, obj, by_number(propNum), *value}); }

V_TabsT V_ApiGetTabs(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return aggregate(api_vq_get_tabs_1, {doc, obj, by_number(propNum)}, &ApiVqGetTabsRetT::tabs); }

void V_ApiSetTabs(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_TabsT *value)
{ set(api_vq_set_tabs_1, {doc, obj, by_number(propNum), *value}); }

V_UBytesT V_ApiGetUBytesByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName)
{ return aggregate(api_vq_get_ubytes_1, {doc, obj, by_name(propName)}, &ApiVqGetUBytesRetT::ubytes); }

void V_ApiSetUBytesByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName, const V_UBytesT *value)
{ set(api_vq_set_ubytes_1, {doc, obj, by_name(propName), *value}); }

// Values of any kind.

V_TypedValT V_ApiGetVal(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return aggregate(api_vq_get_val_1, {doc, obj, by_number(propNum)}, &ApiVqGetValRetT::typedVal); }

void V_ApiSetVal(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum, const V_TypedValT *value)
{ set(api_vq_set_val_1, {doc, obj, by_number(propNum), *value}); }

V_PropValT V_ApiGetPropVal(V_ObjHandleT doc, V_ObjHandleT obj, IntT propNum)
{ return aggregate(api_vq_get_prop_1, {doc, obj, by_number(propNum)}, &ApiVqGetPropRetT::propVal); }

void V_ApiSetPropVal(V_ObjHandleT doc, V_ObjHandleT obj, const V_PropValT *value)
{ set(api_vq_set_prop_1, {doc, obj, *value}); }

V_PropValsT V_ApiGetProps(V_ObjHandleT doc, V_ObjHandleT obj)
{ return aggregate(api_vq_get_props_1, {doc, obj}, &ApiVqGetPropsRetT::params); }

void V_ApiSetProps(V_ObjHandleT doc, V_ObjHandleT obj, const V_PropValsT *values)
{ set(api_vq_set_props_1, {doc, obj, *values}); }

void V_ApiDeletePropByName(V_ObjHandleT doc, V_ObjHandleT obj, const char *propName)
{ set(api_vq_delete_prop_1, {doc, obj, by_name(propName)}); }

// Properties of text.

V_TypedValT V_ApiGetTextVal(V_ObjHandleT doc, const V_TextLocT *loc, IntT propNum)
{ return aggregate(api_vq_get_text_val_1, {doc, *loc, by_number(propNum)}, &ApiVqGetValRetT::typedVal); }

V_PropValT V_ApiGetTextPropVal(V_ObjHandleT doc, const V_TextLocT *loc, IntT propNum)
{ return aggregate(api_vq_get_text_prop_1, {doc, *loc, by_number(propNum)}, &ApiVqGetPropRetT::propVal); }

V_PropValsT V_ApiGetTextProps(V_ObjHandleT doc, const V_TextLocT *loc)
{ return aggregate(api_vq_get_text_props_1, {doc, *loc}, &ApiVqGetPropsRetT::params); }

void V_ApiSetTextVal(V_ObjHandleT doc, const V_TextRangeT *range, IntT propNum, const V_TypedValT *value)
{ set(api_vq_set_text_val_1, {doc, *range, by_number(propNum), *value}); }

void V_ApiSetTextPropVal(V_ObjHandleT doc, const V_TextRangeT *range, const V_PropValT *value)
{ set(api_vq_set_text_prop_1, {doc, *range, by_number(0), *value}); }

void V_ApiSetTextProps(V_ObjHandleT doc, const V_TextRangeT *range, const V_PropValsT *values)
{ set(api_vq_set_text_props_1, {doc, *range, *values}); }
