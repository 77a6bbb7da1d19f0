// A message of another client, for a client that has no callback of its own.

#include "velt/api/session.h"

void V_ApiMessage(StringT, V_ObjHandleT, V_ObjHandleT) {}
