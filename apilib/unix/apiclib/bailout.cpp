// What needs no call of its own: the request to end the service loop, and the release of an answer.

#include "apilib/unix/apiclib/release.h"
#include "velt/api/session.h"

void V_ApiBailOut(void)
{
    VA_bailout = 1;
}

void velt::api_xdrfree(xdrproc_t routine, void *result)
{
    xdr_free(routine, result);
}
