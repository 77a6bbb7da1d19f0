#include "apilib/unix/process.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

namespace velt
{

bool read_process(pid_t id, ProcessFacts &facts)
{
    // The kernel's flag PF_EXITING.
    constexpr unsigned long exiting = 0x4;
    char path[32];
    std::snprintf(path, sizeof path, "/proc/%d/stat", id);
    std::FILE *file = std::fopen(path, "re");
    if (!file)
        return false;
    char text[1024];
    text[std::fread(text, 1, sizeof text - 1, file)] = '\0';
    std::fclose(file);
    // The program's name comes first, in parentheses, and may contain any character.
    const char *rest = std::strrchr(text, ')');
    unsigned long flags;
    if (!rest || std::sscanf(rest + 1,
                             " %c %d %*d %*d %*d %*d %lu %*u %*u %*u %*u %*u %*u %*d %*d %*d %*d "
                             "%*d %*d %llu",
                             &facts.state, &facts.parent, &flags, &facts.start) != 4)
        return false;
    facts.exiting = (flags & exiting) != 0;
    return true;
}

unsigned long long start_of(pid_t id)
{
    ProcessFacts facts;
    return read_process(id, facts) ? facts.start : 0;
}

bool lives(pid_t id, unsigned long long start)
{
    if (kill(id, 0) != 0 && errno == ESRCH)
        return false;
    ProcessFacts facts;
    if (!read_process(id, facts))
        return true;
    return facts.state != 'Z' && facts.state != 'X' && (start == 0 || facts.start == start);
}

} // namespace velt
