// The callback for a message of another client, for a client that defines none.

#include "velt/api/session.h"

void V_ApiMessage(StringT, V_ObjHandleT, V_ObjHandleT) {}
