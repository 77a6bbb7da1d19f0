// Runs a program as a default container would: refuse [--user UID] PROGRAM [ARGUMENT...]
// The kernel refuses namespaces, mounts and the like, root keeps a container's rights only, and
// with --user the program is an ordinary user's, with a HOME of its own in TMPDIR.

#define _GNU_SOURCE
#include <errno.h>
#include <grp.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#if defined __x86_64__
#define NATIVE AUDIT_ARCH_X86_64
#elif defined __aarch64__
#define NATIVE AUDIT_ARCH_AARCH64
#else
#error "name this machine's AUDIT_ARCH"
#endif

#define LOAD(field) BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, field))
#define ALLOW BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)
#define FAIL(error) BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | (error))
#define IF(test, value, steps) BPF_JUMP(BPF_JMP | (test) | BPF_K, value, 0, steps)
#define REFUSE(call) IF(BPF_JEQ, SYS_##call, 1), FAIL(EPERM)

enum {
    namespaces = CLONE_NEWNS | CLONE_NEWUTS | CLONE_NEWIPC | CLONE_NEWUSER | CLONE_NEWPID |
                 CLONE_NEWNET | CLONE_NEWCGROUP,
    other_numbers = 0x40000000, // of calls with short pointers
};

static struct sock_filter filter[] = {
    LOAD(arch),
    BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, NATIVE, 1, 0),
    FAIL(EPERM),
    LOAD(nr),
    IF(BPF_JGE, other_numbers, 1),
    FAIL(ENOSYS),
    REFUSE(unshare),
    REFUSE(setns),
    REFUSE(mount),
    REFUSE(umount2),
    REFUSE(pivot_root),
    REFUSE(open_tree),
    REFUSE(move_mount),
    REFUSE(fsopen),
    REFUSE(fsmount),
    REFUSE(sethostname),
    REFUSE(bpf),
    REFUSE(keyctl),
    REFUSE(add_key),
    REFUSE(request_key),
    REFUSE(perf_event_open),
    // Its flags cannot be seen; without it the C library takes clone.
    IF(BPF_JEQ, SYS_clone3, 1),
    FAIL(ENOSYS),
    IF(BPF_JEQ, SYS_clone, 3),
    LOAD(args[0]),
    IF(BPF_JSET, namespaces, 1),
    FAIL(EPERM),
    ALLOW,
};

// A container's root may change owners and users, bind low ports, open raw sockets, and little
// more.
static const unsigned long kept_rights = 0xa80425fb;

static void require(int done, const char *what)
{
    if (!done) {
        fprintf(stderr, "refuse: %s: %s\n", what, strerror(errno));
        exit(126);
    }
}

static void become(const char *user)
{
    const uid_t id = (uid_t)strtoul(user, NULL, 10);
    const char *base = getenv("TMPDIR");
    char home[4096];
    snprintf(home, sizeof home, "%s/home-XXXXXX", base ? base : "/tmp");
    require(mkdtemp(home) && chown(home, id, id) == 0 && setenv("HOME", home, 1) == 0, home);
    require(setgroups(0, NULL) == 0 && setgid(id) == 0 && setuid(id) == 0, user);
}

int main(int argc, char **argv)
{
    const int as_user = argc > 2 && strcmp(argv[1], "--user") == 0;
    char **program = argv + (as_user ? 3 : 1);
    if (!program[0]) {
        fprintf(stderr, "Usage: refuse [--user UID] PROGRAM [ARGUMENT...]\n");
        return 126;
    }
    const struct sock_fprog rules = {sizeof filter / sizeof *filter, filter};
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &rules) != 0) {
        // Who has no right to it must give up that of other users' programs.
        require(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0, "give up new rights");
        require(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &rules) == 0, "install the filter");
    }
    for (unsigned long right = 0; geteuid() == 0 && prctl(PR_CAPBSET_READ, right) >= 0; right++)
        if (right >= 64 || !(kept_rights >> right & 1))
            require(prctl(PR_CAPBSET_DROP, right) == 0, "give up rights");
    if (as_user)
        become(argv[2]);
    execvp(program[0], program);
    require(0, program[0]);
}
