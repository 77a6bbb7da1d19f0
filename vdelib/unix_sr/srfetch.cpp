// Alone in its file, so that a client's own definition replaces it.

#include "velt/vde/resources.h"

IntT V_SrFetch(IntT, StringT, IntT)
{
    return -1;
}
