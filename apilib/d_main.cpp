// The main function, for a client that defines none.

#include "velt/api/session.h"

VELT_BEGIN_DECLS
int main(int argc, char **argv);
VELT_END_DECLS

int main(int argc, char **argv)
{
    return V_ApiRun(argc, argv);
}
