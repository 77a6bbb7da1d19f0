// The callback for the end of the host, for a client that defines none.

#include "velt/api/session.h"

void V_ApiEmergency(void) {}
