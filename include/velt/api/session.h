/* The session with the host: start-up, service loop, control, shutdown, and the callbacks.
 *
 * One thread. The host calls the client; while a callback runs, the client holds control and may
 * call the host; when the callback returns, control goes back to the host.
 *
 * Strings, unless a call says otherwise, are in the encoding of the session's language:
 * V_LanguageEncoding(V_ApiGetInt(0, 0, V_prop_language)), which is VdeEncQuire for Western
 * languages and never UTF-8. V_StrConvertEnc of velt/vde/encodings.h converts them to UTF-8 and
 * from other encodings; string resources, velt/vde/resources.h, are in that encoding already.
 *
 * Failures of every remote call: no answer sets VA_errno to V_error_no_answer, -1, a refusal sets
 * it to the host's status, which is not 0. Then a call that returns a status returns that; one that
 * returns an id, a number or a string returns 0; one that returns a structure, a list or a value
 * returns one of zeros. Where it differs, the call says so. What a call returns is the caller's to
 * release, strings by V_ApiDeallocateString, lists and values by the release of their type; what it
 * is passed stays the caller's. The host defines the meaning of a parameter that is named by its
 * place and type, such as int3.
 */
#ifndef VELT_API_SESSION_H
#define VELT_API_SESSION_H

#include "velt/decl.h"
#include "velt/scalars.h"

/* A time span. */
typedef struct V_TimeT {
    IntT seconds;
    IntT microseconds;
} V_TimeT;

/* A descriptor watcher. It is called for every descriptor that the service starts (added 1) or
 * stops (added 0) using. */
typedef void (*V_FdFuncT)(IntT descriptor, IntT added);

/* A CLIENT of the RPC library. */
struct __rpc_client;

VELT_BEGIN_DECLS

/* The connection to the host, between start-up and shutdown. */
extern struct __rpc_client *velt_client;
/* Status of the last remote call that failed: -1 when no answer came, else the host's status or
 * a code of the library. A successful call leaves it alone. */
extern IntT VA_errno;
/* Time limit of every call to the host; set it before start-up. 0, 0 becomes seven days. */
extern V_TimeT VA_TimeOut;
/* Non-zero asks the service loop to end; every hand-over of control passes the value to the host.
 */
extern IntT VA_bailout;
/* The client's number, from the host; -1 before start-up. */
extern IntT VA_clientno;
/* Read mask of the last wait; afterwards, the client's own ready descriptors (0 to 31). */
extern UIntT VA_SelectMask;

/* The whole life of a client: start-up, service until VA_bailout, shutdown. Returns the exit
 * status: 0, or 1 when start-up failed (reported through V_ApiErr). The arguments are not used. */
IntT V_ApiRun(int argc, char **argv);
/* A limit of the library by its number: V_limit_record_in, say, in facts.h. 0 when it has no such
 * limit. */
UIntT V_ApiGetLimit(IntT limit);
/* Sets a limit, before start-up: 0, or -1 when the library has no such limit. */
IntT V_ApiSetLimit(IntT limit, UIntT value);
/* Starts the session that the environment variable VQAPIX describes, with a descriptor watcher or
 * null. Returns null, or a constant message that tells what failed. May fork: the parent exits.
 *
 * A second variable, VQPMAP, may name the port on 127.0.0.1 of a port mapper of the session's own.
 * Where it is set and not empty, the library uses that port mapper instead of the machine's, the
 * session is confined to this machine, whose name is then "localhost", and the client's service
 * listens on the loopback interface. */
const char *V_ApiStartUp(V_FdFuncT fdFunc);
/* Releases everything that start-up made. Harmless when there is nothing. */
void V_ApiShutDown(void);
/* Joins a running session of the host: `name` is passed to the host, hostName null or empty is this
 * machine, program is the session's RPC program. Returns 0 or a code, also in VA_errno:
 * V_error_no_session, V_error_not_joined, V_error_no_connection, else the host's refusal. */
IntT V_ApiConnectToSession(const char *name, const char *hostName, UIntT program);
/* Writes one line with the client's name to standard error. */
void V_ApiErr(const char *message);

/* One wait of at most 22 s at a time, and one pass of dispatch. readMask, or null, points to a mask
 * of the client's own descriptors (0 to 31) to wait on as well; on return, the ready ones. Returns
 * the wait's result. Ends the process with status 1 when the host has exited or
 * closed the connection. */
IntT V_ApiService(UIntT *readMask);
/* Installs a descriptor watcher, or null, and tells it of the present descriptors at once. Returns
 * the previous one. */
V_FdFuncT V_ApiSetFdFunc(V_FdFuncT func);
/* 1 when the host's process is alive or cannot be checked, else 0. */
IntT V_ApiVeltAlive(void);
/* Hands control back before the callback returns: 0, or -1 when the client does not hold it. */
IntT V_ApiDoneCommand(void);
/* Takes control outside a callback: 0, or -1 when the client holds it. */
IntT V_ApiTakeControl(void);
/* Serves the host until the modal dialog just opened has ended; returns the dialog's result. */
IntT V_ApiServiceModalCallbacks(void);
/* Asks the service loop to end. */
void V_ApiBailOut(void);

/* The client's number; -1 when no answer came. */
IntT V_ApiClientNumber(void);
/* The client's name; that of the reference host is in UTF-8. */
StringT V_ApiClientName(void);
/* The client's directory. */
StringT V_ApiClientDir(void);
/* Sets the client's directory; returns the host's answer, -1 when none came. */
IntT V_ApiSetClientDir(const char *directory);
/* Calls another client by name; returns the value that the host answers. The other client of the
 * reference host gets str2 by V_ApiMessage, with two ids of 0, and answers by V_ApiReturnValue,
 * else with 0. A client that does not run is not started: V_status_no_such_object. One that holds
 * control or waits for an answer, such as the caller itself, is not called; nor does one answer
 * that opens a modal dialog, ends, or does not hand control back in time: V_status_not_permitted.
 */
IntT V_ApiCallClient(const char *client, const char *str2);
/* Asks for a notification by its code. For the reference host int2 is 0 to cancel that; it sends
 * the notifications of facts.h, and what its user sends by its command "notify". */
IntT V_ApiNotification(IntT notification, IntT int2);
/* Leaves the session for good: control goes back, the connections close, VA_bailout is set. Returns
 * the host's answer, -1 when none came. No remote call may follow. */
IntT V_ApiDisconnectFromSession(void);

/* A callback that each client defines: the host has started it, with this code. */
void V_ApiInitialize(IntT initCode);
/* A callback that each client defines: the user has chosen the command that it defined under this
 * number. */
void V_ApiCommand(IntT command);
/* A notification that the client has asked for by this code; for code 75, stringArg points to a
 * V_FilterArgsT. A callback: the library's does nothing, the client's own definition replaces it.
 * Its arguments are borrowed. */
void V_ApiNotify(IntT notification, V_ObjHandleT objectId, StringT stringArg, IntT intArg);
/* A message of another client, which has called V_ApiCallClient, or of the user. A callback like
 * V_ApiNotify. */
void V_ApiMessage(StringT message, V_ObjHandleT objectId1, V_ObjHandleT objectId2);
/* Something has happened to an item of the client's dialog. A callback like V_ApiNotify. */
void V_ApiDialogEvent(IntT dialog, IntT item, IntT detail);
/* The host has exited or closed the connection; the process ends with status 1 when this returns. A
 * callback like V_ApiNotify. */
void V_ApiEmergency(void);

VELT_END_DECLS

#endif
