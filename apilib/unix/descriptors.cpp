#include "apilib/unix/descriptors.h"

#include <fcntl.h>
#include <unistd.h>

void velt::fill_standard_descriptors()
{
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++)
        // open() takes the lowest free descriptor, which is this one.
        if (fcntl(fd, F_GETFD) < 0 &&
            open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY) < 0)
            return;
}
