/* A host in the memory of a test: what a client calls is encoded by the library as ever, answered
 * by the model and the scenarios of the reference host, and decoded, in a few microseconds. There
 * is no process, no socket and no port mapper.
 *
 *     V_MockOpen("tea.json", NULL);
 *     V_MockInitialize(0);
 *     V_MockCommand(1);
 *     assert(V_MockCount("api_vq_alert_1") == 1);
 *     assert(V_MockClose() == 0);
 *
 * The test defines the callbacks, or is linked with the client that does, and also calls the
 * client's functions directly: such a client holds control until the test has the host act again.
 * Link libvelt-mock beside libvelt-api, and a library with a main of its own, as GoogleTest has
 * one, before both. A process has one mock at a time, and one thread at a time uses it. The header
 * needs C99 or C++11, and declares the mock alone: a test that calls the library, or names its
 * properties and notifications, includes velt/api.h too.
 *
 * A mock is to be closed. A process that ends while one is open, be it in a callback, tells so, and
 * what has failed, and exits with 1 instead of 0.
 *
 * What goes wrong is told on standard error, with the file and the line of the latest V_Mock call,
 * and counted: a call that nothing expects, an answer that is not asked for, a callback that the
 * client cannot get, a wrong argument of these functions, a call of one of them without a mock.
 * What the host reports to the person, such as changes that the client has lost, is told there too,
 * and is no failure: such a line begins with "note:" behind the place.
 * Once V_MockInitialize was called, what the client has not asked for is a failure too: a
 * notification without a subscription, an event of a dialog that is not open, and a command that it
 * has not defined, unless it was initialised with 2, with which its commands are kept from an
 * earlier process. The callback runs all the same. Without V_MockInitialize none of this is looked
 * at, so that a test can call single callbacks.
 *
 * Nothing waits: limits, delays and the client's own sleep pass at once. A client that makes a
 * hundred thousand calls with no function of the mock in between has its connection ended, and when
 * it goes on all the same, the process aborts. So does a client that waits on where nothing will
 * come. An exception must not leave a callback.
 *
 * A test does not change its files: what the client saves and exports stays in memory, from where
 * it is read again as long as the mock is open, unless V_MockWriteFiles has it written.
 *
 * Texts are in UTF-8 as in the files of the host, apart from those that callbacks get: V_MockNotify
 * and V_MockMessage hand them on as they are, in the session's encoding (velt/api/session.h). What
 * a function returns as a text belongs to the mock and is valid until that function is called again
 * or V_MockClose.
 */
#ifndef VELT_MOCK_H
#define VELT_MOCK_H

#include "velt/api/session.h"

/* Types of the RPC library. */
struct svc_req;
struct __rpc_svcxprt;

/* The parts of the client library that the mock stands in for or restores: those of the test, which
 * may be linked with either form of it. V_MockOpen fills it in. */
typedef struct V_MockLibraryT {
    struct __rpc_client **client;
    IntT *error, *bailout, *number;
    UIntT *selectMask;
    void (*serve)(struct svc_req *request, struct __rpc_svcxprt *transport);
    IntT (*doneCommand)(void);
} V_MockLibraryT;

VELT_BEGIN_DECLS

/* The dispatcher of the host's calls, as velt/wire.h declares it for those who have the headers of
 * the RPC library. */
void vq_api_prog_1(struct svc_req *request, struct __rpc_svcxprt *transport);

/* Notes where the test is, for reports; the macros below do. The file's name stays the caller's and
 * is kept until the next. */
void V_MockAt(const char *file, int line);
/* As V_MockOpen, for the library given, no part of which may be null. */
IntT V_MockOpenFor(const V_MockLibraryT *library, const char *book, const char *scenario);

/* Has a call of the client be answered as a scenario's step says, velt-scenario(5):
 *
 *     V_MockAnswer("{\"call\": \"api_vq_open_1\", \"answer\": {\"status\": -9}}");
 *
 * Steps that match are used in the order of these calls, and before the scenario's. A step without
 * an answer only expects the call, which the model answers. One that is not used as often as its
 * "times" say, which is once, is a failure at V_MockClose. A step may also be a "callback", with
 * what is then expected of the client. Returns 0, or -1 for one that is wrong. */
IntT V_MockAnswer(const char *step);
/* Has the person give this answer to the next question that no earlier one is for: all of the text,
 * without quotes around it, as a text, a number, or the number or label of a button; null cancels
 * it. Without an answer, a question is cancelled. One that nobody asks for is a failure at
 * V_MockClose. Returns 0 or -1. */
IntT V_MockReply(const char *words);

/* The host calls the client: its callback runs, and what the host has to do then as well, such as
 * the calls that a scenario makes "after" an answer. Return 0 when the client has handed control
 * back and no failure was counted, else -1: so when it holds control already, has ended, or its
 * connection has. A client that bails out in a callback hands control back and ends then. Texts may
 * be null. */
IntT V_MockInitialize(IntT initCode);
IntT V_MockCommand(IntT command);
IntT V_MockNotify(IntT notification, V_ObjHandleT object, const char *text, IntT number);
IntT V_MockMessage(const char *message, V_ObjHandleT object1, V_ObjHandleT object2);
IntT V_MockDialogEvent(IntT dialog, IntT item, IntT detail);
/* Asks the client to quit, which sets its VA_bailout; the host does not call it after that. */
IntT V_MockQuit(void);
/* Keeps an event for the time when the client waits, in a modal dialog or in V_ApiService; it gets
 * one event for each wait. The dialog 0 ends the modal dialog, of which detail is the result. A
 * client that waits when there is none fails: its dialog is cancelled, or it is asked to quit, and
 * if it waits on a thousand times the process aborts.
 * Events that are left are a failure at V_MockClose. Returns 0 or -1. */
IntT V_MockQueueDialogEvent(IntT dialog, IntT item, IntT detail);
/* Hands control back when the test has called the client's functions directly, and has the host do
 * what is due: the calls that a scenario makes "after" an answer, notifications that were held
 * back. Returns 0 or -1. */
IntT V_MockServe(void);

/* What the client has called, in its order: a line of JSON for each call, as `vqhost --trace=json`
 * writes it: those of one procedure, api_vq_alert_1 say, or all for null. Null when memory runs
 * out, no mock is open, or there is no such procedure. */
const char *V_MockCalls(const char *procedure);
/* The number of these calls; -1 for a procedure that there is not. */
IntT V_MockCount(const char *procedure);
/* Forgets the calls so far. */
void V_MockForget(void);
/* The book, or an open document, 0 the active one, as the files of the host have it. Null when
 * it is not open. */
const char *V_MockBook(void);
const char *V_MockDocument(V_ObjHandleT document);
/* What the client has saved or exported to the path, which may be relative to the working
 * directory; null for a file that it has not written, or not in memory. */
const char *V_MockFile(const char *path);
/* From now on the client writes files as it does with vqhost if `writes` is not 0, else to memory.
 */
void V_MockWriteFiles(IntT writes);

/* The number of failures so far. */
IntT V_MockFailures(void);
/* Ends the session, and returns the number of all failures, those of what was expected and has not
 * happened included. The library is then as it was before V_MockOpen. A mock is to be closed when
 * a test has failed, too, but not in a callback. */
IntT V_MockClose(void);

VELT_END_DECLS

/* Opens a session with a book, which is the path of a file, or its text if that begins with '{',
 * blanks aside, or null for one without components. A scenario, given likewise, says what is
 * answered, and that other calls are failures unless its "others" is "model"; null leaves all to
 * the model. The client is the number 1, "mock". Returns 0; -1 when there is a mock already, or for
 * a book or scenario that is wrong. */
static inline IntT V_MockOpen(const char *book, const char *scenario)
{
    const V_MockLibraryT library = {&velt_client,   &VA_errno,     &VA_bailout,     &VA_clientno,
                                    &VA_SelectMask, vq_api_prog_1, V_ApiDoneCommand};
    return V_MockOpenFor(&library, book, scenario);
}

/* Each call notes its place, which a macro does, so the names stand without a scope (::), unless
 * V_MOCK_WITHOUT_PLACES is defined. */
#ifndef V_MOCK_WITHOUT_PLACES
/* clang-format off */
#define V_MOCK_HERE V_MockAt(__FILE__, __LINE__)
#define V_MockOpen(...)             (V_MOCK_HERE, V_MockOpen(__VA_ARGS__))
#define V_MockAnswer(...)           (V_MOCK_HERE, V_MockAnswer(__VA_ARGS__))
#define V_MockReply(...)            (V_MOCK_HERE, V_MockReply(__VA_ARGS__))
#define V_MockInitialize(...)       (V_MOCK_HERE, V_MockInitialize(__VA_ARGS__))
#define V_MockCommand(...)          (V_MOCK_HERE, V_MockCommand(__VA_ARGS__))
#define V_MockNotify(...)           (V_MOCK_HERE, V_MockNotify(__VA_ARGS__))
#define V_MockMessage(...)          (V_MOCK_HERE, V_MockMessage(__VA_ARGS__))
#define V_MockDialogEvent(...)      (V_MOCK_HERE, V_MockDialogEvent(__VA_ARGS__))
#define V_MockQuit()                (V_MOCK_HERE, V_MockQuit())
#define V_MockQueueDialogEvent(...) (V_MOCK_HERE, V_MockQueueDialogEvent(__VA_ARGS__))
#define V_MockServe()               (V_MOCK_HERE, V_MockServe())
#define V_MockCalls(...)            (V_MOCK_HERE, V_MockCalls(__VA_ARGS__))
#define V_MockCount(...)            (V_MOCK_HERE, V_MockCount(__VA_ARGS__))
#define V_MockForget()              (V_MOCK_HERE, V_MockForget())
#define V_MockBook()                (V_MOCK_HERE, V_MockBook())
#define V_MockDocument(...)         (V_MOCK_HERE, V_MockDocument(__VA_ARGS__))
#define V_MockFile(...)             (V_MOCK_HERE, V_MockFile(__VA_ARGS__))
#define V_MockWriteFiles(...)       (V_MOCK_HERE, V_MockWriteFiles(__VA_ARGS__))
#define V_MockFailures()            (V_MOCK_HERE, V_MockFailures())
#define V_MockClose()               (V_MOCK_HERE, V_MockClose())
/* clang-format on */
#endif

#endif
