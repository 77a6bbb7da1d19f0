/* The least that a client can be: it serves the host and does nothing. */
#include <velt/api.h>

void V_ApiInitialize(IntT initCode)
{
    (void)initCode;
}

void V_ApiCommand(IntT command)
{
    (void)command;
}
