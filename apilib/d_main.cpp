// The process entry, for a client that has none of its own.

#include "velt/api/session.h"

VELT_BEGIN_DECLS
int main(int argc, char **argv);
VELT_END_DECLS

int main(int argc, char **argv)
{
    return V_ApiRun(argc, argv);
}
