// The end of the host, for a client that has no callback of its own.

#include "velt/api/session.h"

void V_ApiEmergency(void) {}
