/* Alerts and prompts: the host asks the user on the client's behalf.
 *
 * A prompt stores what the user answered and returns 0, or returns -1 and stores nothing; VA_errno
 * is then -1 when the host gave no answer, and as before when the user gave none. A string is the
 * caller's, for V_ApiDeallocateString. Pointers to answers and lists must not be null. Failures
 * otherwise as in session.h.
 */
#ifndef VELT_API_PROMPTS_H
#define VELT_API_PROMPTS_H

#include "velt/api/values.h"

VELT_BEGIN_DECLS

/* Shows an alert; returns the host's answer, -1 when none came. The reference host shows int2 as
 * the alert's type. */
IntT V_ApiAlert(const char *message, IntT int2);
/* Asks for an integer: str2 is the question, str3 what the reference host suggests, as text. */
IntT V_ApiPromptInt(IntT *answer, const char *str2, const char *str3);
/* Asks for a length in the same way. For the reference host int4 is the length that a number
 * without a unit counts; all are in 1/65536 point. */
IntT V_ApiPromptMetric(MetricT *answer, const char *str2, const char *str3, IntT int4);
/* Asks for a string: str2 is the question, str3 what the reference host suggests. */
IntT V_ApiPromptString(StringT *answer, const char *str2, const char *str3);
/* Asks for a file. The reference host asks str2, suggests str3 and ignores the rest; the answer is
 * the name as the user gives it, which, unless it begins with a slash, stands beside the book. */
IntT V_ApiChooseFile(StringT *answer, const char *str2, const char *str3, const char *str4,
                     IntT int5, const char *str6);
/* Asks for a file, in the older form; the strings as of V_ApiChooseFile. */
IntT oldV_ApiChooseFile(StringT *answer, const char *str2, const char *str3, const char *str4,
                        IntT int5);
/* The same with no third string and 0. */
IntT V_ApiFileScrollBox(StringT *answer, const char *str2, const char *str3);
/* Asks for an item of a list. The reference host answers with its index from 0, ignores int4,
 * and refuses an empty list. */
IntT V_ApiScrollBox(IntT *answer, const char *title, const V_StringsT *items, IntT int4);
/* Asks for an item of a list as the user types; returns the host's answer, -1 on failure. */
IntT V_ApiQuickSelect(V_ObjHandleT doc, const char *str2, const V_StringsT *items);
/* Asks for a point in document id1, or 0 for none. The reference host takes for id2 an object of
 * the document, the document itself, or 0. */
V_PointT V_ApiPromptPoint(V_ObjHandleT id1, V_ObjHandleT id2, IntT int3);
/* Asks for a rectangle in the same way. */
RectT V_ApiPromptRect(V_ObjHandleT id1, V_ObjHandleT id2, IntT int3);

VELT_END_DECLS

#endif
