// Alone in its file, so that a client's own definition replaces it.

#include "vdelib/unix_sr/srfile.h"
#include "velt/vde/resources.h"

IntT V_SrFetch(IntT, StringT, IntT)
{
    return -1;
}

[[gnu::alias("V_SrFetch")]] IntT velt::library_fetch(IntT, StringT, IntT);
