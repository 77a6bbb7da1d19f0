/* The smallest possible client: it serves the host and does nothing except report its first
 * callback where it is asked to. */
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
    (void)command;
}
