// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later
//
// Runs a program for which, and for whose children, the kernel knows no waitid() on
// process descriptors. Qt asks for it to decide how QProcess starts programs; QEMU's
// user emulation passes the question on, but refuses the clone() that follows from it.
// Usage: without_pidfd PROGRAM [ARGUMENT...]

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr unsigned idIsPidfd = 3; // P_PIDFD

bool hidePidfd()
{
    sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_waitid, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, idIsPidfd, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EINVAL),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = {sizeof filter / sizeof *filter, filter};
    return ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2 || !hidePidfd()) {
        std::perror("without_pidfd");
        return 126;
    }
    ::execvp(argv[1], argv + 1);
    std::perror(argv[1]);
    return 127;
}
