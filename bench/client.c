/* The smallest possible client: it serves the host and does nothing except report its first
 * callback where it is asked to, and make as many calls as a command says. */
#include <stdlib.h>
#include <unistd.h>

#include <velt/api.h>

void V_ApiInitialize(IntT initCode)
{
    (void)initCode;
    if (getenv("VELT_BENCH_TELL") && write(STDOUT_FILENO, "!", 1) != 1)
        _exit(1);
}

void V_ApiCommand(IntT command)
{
    for (; command > 0; command--)
        if (V_ApiGetInt(1, 2, 3) != 42)
            _exit(1);
}
