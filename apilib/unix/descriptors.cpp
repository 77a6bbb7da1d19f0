#include "apilib/unix/descriptors.h"

#include <fcntl.h>
#include <unistd.h>

void velt::fill_standard_descriptors()
{
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++)
        // The lowest that is free is this one.
        if (fcntl(fd, F_GETFD) < 0 &&
            open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY) < 0)
            return;
}
