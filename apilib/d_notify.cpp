// A notification, for a client that has no callback of its own.

#include "velt/api/session.h"

void V_ApiNotify(IntT, V_ObjHandleT, StringT, IntT) {}
