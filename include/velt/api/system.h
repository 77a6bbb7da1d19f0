/* The host's commands, pauses, programs, progress, colours. Failures as in session.h. */
#ifndef VELT_API_SYSTEM_H
#define VELT_API_SYSTEM_H

#include "velt/api/values.h"

VELT_BEGIN_DECLS

/* Runs commands of the host by their codes. */
IntT V_ApiFcodes(IntT count, const IntT *codes);
/* Runs a hypertext command. */
IntT V_ApiHypertextCommand(V_ObjHandleT id1, const char *command);
/* Lets the user change the selection. */
IntT V_ApiUserInteractSelection(IntT int1);
/* Has the host wait. 0, or the whole amount when no answer came. The reference host serves others
 * meanwhile, and waits as long as its time limit for a turn at most: it reports a longer wait,
 * which it cuts short. */
IntT V_ApiSleep(IntT seconds);
/* The same in microseconds. */
IntT V_ApiUSleep(IntT microseconds);
/* Whether the user wants to cancel; -1 when no answer came. */
IntT V_ApiUserCancel(void);
/* Has the host run a command line; returns the host's answer, -1 when none came. The reference host
 * runs it by /bin/sh and answers when it has ended: with its exit status, 128 and the number of the
 * signal that ended it, or -1 when it could not be started. It kills a command that takes longer
 * than its time limit. Unless its user lets clients run programs, it answers
 * V_status_not_permitted. */
IntT V_ApiSystemShell(const char *command);
/* Has the host run a program with arguments; returns the host's answer, -1 when none came. The
 * pointer must not be null. The reference host looks for a name without a slash in PATH and does
 * not wait for the program: it answers with its process id, -1 when it could not be started, or as
 * V_ApiSystemShell when programs may not be run. */
IntT V_ApiForkAndExec(const char *program, const V_StringsT *arguments);
/* Passes a value to the client that called this one by V_ApiCallClient. */
IntT V_ApiReturnValue(IntT value);
/* Changes the colour palette. Pointers must not be null. */
IntT V_ApiChangeColorPalette(V_ObjHandleT id1, const V_MetricsT *metrics2, V_ObjHandleT id3,
                             const V_MetricsT *metrics4, V_ObjHandleT id5,
                             const V_MetricsT *metrics6, V_ObjHandleT id7,
                             const V_MetricsT *metrics8, const V_MetricsT *metrics9,
                             V_ObjHandleT id10);
/* Shows the user the client's progress (V_prop_progress of the session), in per cent: the reference
 * host takes less than 0 for 0, and more than 100 for 100. 0, or -1 on failure; VA_errno stays as
 * it was. */
IntT V_Progress(IntT value);

VELT_END_DECLS

#endif
