// Loaded into a program, gives the machine a name that no resolver knows.
#define _DEFAULT_SOURCE
#include <stdio.h>
#include <unistd.h>

int gethostname(char *name, size_t size)
{
    snprintf(name, size, "nowhere.invalid");
    return 0;
}
