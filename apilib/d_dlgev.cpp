// The callback for a dialog event, for a client that defines none.

#include "velt/api/session.h"

void V_ApiDialogEvent(IntT, IntT, IntT) {}
