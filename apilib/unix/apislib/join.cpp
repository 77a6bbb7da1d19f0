// How a process that the host has not started joins a running session.

#include <arpa/inet.h>
#include <unistd.h>

#include "apilib/unix/apislib/session.h"
#include "apilib/unix/descriptors.h"
#include "apilib/wire/routines.h"
#include "velt/api.h"

using namespace velt;

namespace
{

// A machine's address in dotted decimal; all zero when it has none.
StringT host_ntoa(const char *name)
{
    static char ha[INET_ADDRSTRLEN];
    sockaddr_in address;
    if (hostnameToRealAddr(name, &address) != 0)
        address = {};
    inet_ntop(AF_INET, &address.sin_addr, ha, sizeof ha);
    return ha;
}

// One call to the session's program over UDP; true when it succeeded.
bool apiLocalCall(const char *hostName, UIntT program, rpcproc_t procedure, xdrproc_t encode,
                  void *argument, xdrproc_t decode, void *result)
{
    sockaddr_in address;
    if (hostnameToRealAddr(hostName, &address) != 0)
        return false;
    timeval limit = {VA_TimeOut.seconds, VA_TimeOut.microseconds};
    address.sin_port =
        htons(mapper_find(address, program, VQ_RPC_SESSION_VERSION, IPPROTO_UDP, limit));
    if (address.sin_port == 0)
        return false;
    if (!transport_may_send(address)) {
        V_ApiErr("the session's program is another user's");
        return false;
    }
    return transport_ask(address, program, VQ_RPC_SESSION_VERSION, procedure, encode, argument,
                         decode, result, limit);
}

IntT connect_to_session(const char *name, const char *hostName, UIntT program)
{
    if (strEqual(hostName, nullptr))
        hostName = thishost();
    auto nothing = routine<void>();
    if (!apiLocalCall(hostName, program, NULLPROC, nothing, nullptr, nothing, nullptr))
        return V_error_no_session;

    VqRpcApiConnectArgT request = {getpid(), host_ntoa(thishost()), const_cast<StringT>(name)};
    VqRpcApiConnectReturnT answer = {};
    IntT result = V_error_not_joined;
    if (apiLocalCall(hostName, program, VQ_RPC_SESSION_CONNECT, routine<VqRpcApiConnectArgT>(),
                     &request, routine<VqRpcApiConnectReturnT>(), &answer))
        result = answer.status;
    if (result == 0) {
        // An earlier session, if any, ends here.
        V_ApiShutDown();
        if (hookup(static_cast<UIntT>(answer.myprog), static_cast<UIntT>(answer.myvers),
                   static_cast<UIntT>(answer.hisprog), static_cast<UIntT>(answer.hisvers),
                   answer.hispid, answer.hostName))
            result = V_error_no_connection;
        else
            call_fd_func();
    }
    free_decoded(answer);
    return result;
}

} // namespace

IntT V_ApiConnectToSession(const char *name, const char *hostName, UIntT program)
{
    fill_standard_descriptors();
    get_VA_TimeOut();
    VA_bailout = 0;
    VA_errno = connect_to_session(name, hostName, program);
    return VA_errno;
}
