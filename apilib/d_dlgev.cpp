// A dialog event, for a client that has no callback of its own.

#include "velt/api/session.h"

void V_ApiDialogEvent(IntT, IntT, IntT) {}
