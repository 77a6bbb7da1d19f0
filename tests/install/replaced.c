/* A client with a process entry, a notification callback, a source of strings and a service of the
 * RPC library of its own: each has to win over the library's. Answers 0 when they do. */

#include <string.h>

#include <velt/api.h>
#include <velt/vde.h>
#include <velt/wire.h>

void register_service(void); /* in service.c */

static IntT notified;
static IntT watched;

void V_ApiInitialize(IntT initCode)
{
    (void)initCode;
}

void V_ApiCommand(IntT command)
{
    (void)command;
}

void V_ApiNotify(IntT notification, V_ObjHandleT objectId, StringT stringArg, IntT intArg)
{
    (void)objectId;
    (void)stringArg;
    (void)intArg;
    notified = notification;
}

IntT V_SrFetch(IntT id, StringT buf, IntT size)
{
    (void)id;
    strncpy(buf, "own", (size_t)size);
    return 0;
}

static void watch(IntT descriptor, IntT added)
{
    if (added)
        watched = descriptor;
}

static bool_t no_reply(SVCXPRT *transport, struct rpc_msg *message)
{
    (void)transport;
    (void)message;
    return TRUE;
}

int main(void)
{
    char text[16] = "";
    /* The handler answers through this transport, then runs the callback. */
    struct xp_ops operations;
    SVCXPRT transport;
    struct svc_req request;
    VqApiNotifyArgT argument = {7, 0, NULL, 0};

    V_SrGetN(1, text, sizeof text);
    if (strcmp(text, "own") != 0)
        return 1;

    register_service();
    V_ApiSetFdFunc(watch);
    if (watched != 9)
        return 3;

    memset(&operations, 0, sizeof operations);
    operations.xp_reply = no_reply;
    memset(&transport, 0, sizeof transport);
    transport.xp_ops = &operations;
    memset(&request, 0, sizeof request);
    request.rq_xprt = &transport;
    vq_api_notify_1(&argument, &request);
    return notified == 7 ? 0 : 2;
}
