/* A service of the RPC library that a library of the client's has registered. */

#include <velt/wire.h>

void register_service(void);

void register_service(void)
{
    FD_SET(9, &svc_fdset);
}
