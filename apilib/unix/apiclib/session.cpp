// The client in the session: who it is, other clients, notifications, the end.

#include "apilib/unix/apiclib/call.h"

using namespace velt;

void V_ApiBailOut(void)
{
    VA_bailout = 1;
}

void api_xdrfree(xdrproc_t routine, void *result)
{
    xdr_free(routine, result);
}

// clang-format off

IntT V_ApiClientNumber(void)
{ return plain(api_client_number_1, 0); }

StringT V_ApiClientName(void)
{ return bare_string(api_client_name_1); }

StringT V_ApiClientDir(void)
{ return bare_string(api_client_directory_1); }

IntT V_ApiSetClientDir(const char *directory)
{ return plain(api_set_client_directory_1, in(directory)); }

IntT V_ApiCallClient(const char *client, const char *str2)
{ return scalar(api_vq_call_client_1, {in(client), in(str2)}, &ApiVqGetIntRetT::result); }

IntT V_ApiNotification(IntT notification, IntT int2)
{ return status(api_vq_notification_1, {notification, int2}); }

// clang-format on

IntT V_ApiDisconnectFromSession(void)
{
    IntT result = plain(api_vq_disconnect_from_session_1, 0);
    V_ApiDoneCommand();
    V_ApiShutDown();
    VA_bailout = 1;
    return result;
}
