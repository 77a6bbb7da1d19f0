// The request to end the service loop.

#include "velt/api/session.h"

void V_ApiBailOut(void)
{
    VA_bailout = 1;
}
