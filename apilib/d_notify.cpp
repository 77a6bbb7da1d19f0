// The callback for a notification, for a client that defines none.

#include "velt/api/session.h"

void V_ApiNotify(IntT, V_ObjHandleT, StringT, IntT) {}
