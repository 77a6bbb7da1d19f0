// Alerts and prompts, with which the host asks the user on the client's behalf.

#include "apilib/unix/apiclib/call.h"

using namespace velt;

// clang-format off

IntT V_ApiAlert(const char *message, IntT int2)
{ return plain(api_vq_alert_1, {in(message), int2}); }

IntT V_ApiPromptInt(IntT *answer, const char *str2, const char *str3)
{ return prompt(api_vq_prompt_int_1, {in(str2), in(str3)}, &ApiVqPromptIntRetT::result, answer); }

IntT V_ApiPromptMetric(MetricT *answer, const char *str2, const char *str3, IntT int4)
{ return prompt(api_vq_prompt_metric_1, {in(str2), in(str3), int4}, &ApiVqPromptMetricRetT::result, answer); }

IntT V_ApiPromptString(StringT *answer, const char *str2, const char *str3)
{ return prompt(api_vq_prompt_string_1, {in(str2), in(str3)}, &ApiVqPromptStringRetT::result, answer); }

IntT V_ApiChooseFile(StringT *answer, const char *str2, const char *str3, const char *str4, IntT int5, const char *str6)
{ return prompt(api_vq_choose_file_1, {in(str2), in(str3), in(str4), int5, in(str6)}, &ApiVqChooseFileRetT::result, answer); }

IntT oldV_ApiChooseFile(StringT *answer, const char *str2, const char *str3, const char *str4, IntT int5)
{ return prompt(old_api_vq_choose_file_1, {in(str2), in(str3), in(str4), int5}, &ApiVqChooseFileRetT::result, answer); }

IntT V_ApiFileScrollBox(StringT *answer, const char *str2, const char *str3)
{ return oldV_ApiChooseFile(answer, str2, str3, nullptr, 0); }

IntT V_ApiScrollBox(IntT *answer, const char *title, const V_StringsT *items, IntT int4)
{ return prompt(api_vq_scroll_box_1, {in(title), int4, *items}, &ApiVqScrollBoxRetT::result, answer); }

IntT V_ApiQuickSelect(V_ObjHandleT doc, const char *str2, const V_StringsT *items)
{ return scalar(api_vq_quick_select_1, {doc, in(str2), *items}, &ApiVqQuickSelectRetT::result, -1); }

V_PointT V_ApiPromptPoint(V_ObjHandleT id1, V_ObjHandleT id2, IntT int3)
{ return aggregate(api_vq_prompt_point_1, {id1, id2, int3}, &ApiVqPromptPointRetT::point); }

RectT V_ApiPromptRect(V_ObjHandleT id1, V_ObjHandleT id2, IntT int3)
{ return aggregate(api_vq_prompt_rect_1, {id1, id2, int3}, &ApiVqPromptRectRetT::rect); }
