// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// Preloaded into a program, this library takes the place of the C library's entries
// to the system. It counts them and lets one fail.
//
// It sees what a program, Qt or this library call by name, syscall() included. It does
// not see what the C library calls within itself: the files that fopen(), localtime()
// and getaddrinfo() open, the reading of a directory behind readdir(), what realpath()
// asks, futexes, memory. Those that can fail alone are therefore entries of their own here.
//
// Each function is defined under the linker name of the one that it stands for, so
// that the C library's declarations, with their attributes and checked variants, need
// not be matched.

#include "faults/FaultPlan.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include <dlfcn.h>
#include <sys/ipc.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

using Faults::Family;
using Faults::Kind;
using Faults::State;

namespace {

State *s_state = nullptr;
std::atomic<bool> s_isActive{false};
// Preloaded libraries are there from the start, so this is the cheapest kind.
__attribute__((tls_model("initial-exec"))) thread_local bool t_isTested = false;

constexpr auto noName = "";

void noteHit(const char *call, const char *detail)
{
    if (!s_state->hit.exchange(true))
        std::snprintf(s_state->call, State::callSize, "%s%s%s", call, *detail ? " of " : "",
                      detail);
}

bool isSeekable(int file)
{
    const int error = errno;
    const bool is = ::syscall(SYS_lseek, file, 0L, SEEK_CUR) >= 0;
    errno = error;
    return is;
}

/// The place of this call in its family, from 1; 0 if it does not count.
int place(Family family)
{
    if (!s_isActive.load(std::memory_order_relaxed) || !(t_isTested || s_state->plan.allThreads))
        return 0;
    return ++s_state->counts[family];
}

/// Whether this call is the one to fail; errno is set then.
bool fails(Family family, const char *call, const char *detail = noName)
{
    const int number = place(family);
    if (number == 0 || s_state->plan.family != family)
        return false;
    const Kind kind = s_state->plan.kind;
    if (!(kind == Kind::Error && number == s_state->plan.nth)
        && !(kind == Kind::Lasting && number >= s_state->plan.nth))
        return false;
    noteHit(call, detail);
    errno = s_state->plan.error;
    return true;
}

/// The same for a transfer of @p size bytes, which may also be cut.
bool failsToTransfer(Family family, const char *call, int file, size_t &size)
{
    const int number = place(family);
    if (number == 0 || s_state->plan.family != family || s_state->plan.kind == Kind::None
        || number < s_state->plan.nth)
        return false;
    const bool isPlanned = number == s_state->plan.nth;
    switch (s_state->plan.kind) {
    case Kind::FullDisk:
        if (!isSeekable(file))
            return false;
        if (!isPlanned && s_state->hit) {
            errno = ENOSPC;
            return true;
        }
        [[fallthrough]];
    case Kind::Short:
        if (isPlanned && size > 1) {
            noteHit(call, noName);
            size = (size + 1) / 2;
        }
        return false;
    default:
        if (!isPlanned && s_state->plan.kind != Kind::Lasting)
            return false;
        noteHit(call, noName);
        errno = s_state->plan.error;
        return true;
    }
}

void note(Faults::Created &created, int id)
{
    const int index = id < 0 ? Faults::Created::room : created.count++;
    if (index < Faults::Created::room)
        created.ids[index] = id;
}

/// Where the program seems to be, if @p path asks for it.
const char *standIn(const char *path)
{
    const size_t size = std::strlen(path);
    constexpr size_t suffixSize = 4;
    const bool asks = s_state && s_state->program[0] && std::strncmp(path, "/proc/", 6) == 0
        && size > suffixSize && std::strcmp(path + size - suffixSize, "/exe") == 0;
    return asks ? s_state->program : nullptr;
}

Family familyOf(long call)
{
    switch (call) {
    case SYS_clone:
#ifdef SYS_clone3
    case SYS_clone3:
#endif
        return Faults::Fork;
    case SYS_renameat2:
        return Faults::Rename;
    case SYS_statx:
        return Faults::Status;
    case SYS_copy_file_range:
        return Faults::KernelCopy;
    case SYS_execve:
        return Faults::Execute;
    case SYS_waitid:
        return Faults::Wait;
    default:
        return Faults::FamilyCount;
    }
}

} // namespace

#define FAULTS_EXPORT extern "C" __attribute__((visibility("default")))

FAULTS_EXPORT void zecoreFaultsAttach(State *state)
{
    s_state = state;
}

FAULTS_EXPORT void zecoreFaultsStart()
{
    t_isTested = true;
    s_isActive = true;
}

FAULTS_EXPORT void zecoreFaultsStop()
{
    s_isActive = false;
    t_isTested = false;
}

// NOLINTBEGIN(bugprone-macro-parentheses): types and parameter lists take none

/// Begins the function that stands for @p name; `real_name()` is the one of the C library.
#define STAND_FOR(Result, name, parameters)                                                        \
    FAULTS_EXPORT Result faulty_##name parameters __asm__(#name);                                  \
    static auto real_##name()->Result(*) parameters                                                \
    {                                                                                              \
        static auto *const function =                                                              \
            reinterpret_cast<Result(*) parameters>(::dlsym(RTLD_NEXT, #name));                     \
        return function;                                                                           \
    }                                                                                              \
    Result faulty_##name parameters

#define STAND_FOR_CALL(Result, name, family, parameters, arguments, failure)                       \
    STAND_FOR(Result, name, parameters)                                                            \
    {                                                                                              \
        return fails(Faults::family, #name) ? (failure) : real_##name() arguments;                 \
    }

/// One parameter is called path.
#define STAND_FOR_PATH(Result, name, family, parameters, arguments, failure)                       \
    STAND_FOR(Result, name, parameters)                                                            \
    {                                                                                              \
        return fails(Faults::family, #name, path) ? (failure) : real_##name() arguments;           \
    }

#define STAND_FOR_TRANSFER(name, family, parameters, arguments)                                    \
    STAND_FOR(ssize_t, name, parameters)                                                           \
    {                                                                                              \
        return failsToTransfer(Faults::family, #name, file, size) ? -1 : real_##name() arguments;  \
    }

// NOLINTEND(bugprone-macro-parentheses)

// The checked variants have the names that the C library has given them.
// NOLINTBEGIN(bugprone-reserved-identifier)

// A mode that was not passed is not used either.
STAND_FOR_PATH(int, open, Open, (const char *path, int flags, unsigned mode), (path, flags, mode),
               -1)
STAND_FOR_PATH(int, open64, Open, (const char *path, int flags, unsigned mode), (path, flags, mode),
               -1)
STAND_FOR_PATH(int, openat, Open, (int at, const char *path, int flags, unsigned mode),
               (at, path, flags, mode), -1)
STAND_FOR_PATH(int, openat64, Open, (int at, const char *path, int flags, unsigned mode),
               (at, path, flags, mode), -1)
STAND_FOR_PATH(int, __open_2, Open, (const char *path, int flags), (path, flags), -1)
STAND_FOR_PATH(int, __open64_2, Open, (const char *path, int flags), (path, flags), -1)
STAND_FOR_PATH(int, __openat_2, Open, (int at, const char *path, int flags), (at, path, flags), -1)
STAND_FOR_PATH(int, __openat64_2, Open, (int at, const char *path, int flags), (at, path, flags),
               -1)
STAND_FOR_PATH(void *, fopen, Open, (const char *path, const char *mode), (path, mode), nullptr)
STAND_FOR_PATH(void *, fopen64, Open, (const char *path, const char *mode), (path, mode), nullptr)

// The system closes in any case.
STAND_FOR(int, close, (int file))
{
    const int result = real_close()(file);
    return fails(Faults::Close, "close") ? -1 : result;
}

STAND_FOR_TRANSFER(read, Read, (int file, void *data, size_t size), (file, data, size))
STAND_FOR_TRANSFER(__read_chk, Read, (int file, void *data, size_t size, size_t room),
                   (file, data, size, room))
STAND_FOR_TRANSFER(pread64, Read, (int file, void *data, size_t size, long long offset),
                   (file, data, size, offset))
STAND_FOR_TRANSFER(recv, Read, (int file, void *data, size_t size, int flags),
                   (file, data, size, flags))
STAND_FOR_CALL(ssize_t, recvmsg, Read, (int file, void *message, int flags), (file, message, flags),
               -1)
STAND_FOR_CALL(ssize_t, readv, Read, (int file, const void *parts, int count), (file, parts, count),
               -1)
STAND_FOR_TRANSFER(write, Write, (int file, const void *data, size_t size), (file, data, size))
STAND_FOR_TRANSFER(pwrite64, Write, (int file, const void *data, size_t size, long long offset),
                   (file, data, size, offset))
STAND_FOR_TRANSFER(send, Write, (int file, const void *data, size_t size, int flags),
                   (file, data, size, flags))
STAND_FOR_CALL(ssize_t, sendmsg, Write, (int file, const void *message, int flags),
               (file, message, flags), -1)
STAND_FOR_CALL(ssize_t, writev, Write, (int file, const void *parts, int count),
               (file, parts, count), -1)
STAND_FOR_CALL(off_t, lseek, Seek, (int file, off_t offset, int whence), (file, offset, whence), -1)
STAND_FOR_CALL(long long, lseek64, Seek, (int file, long long offset, int whence),
               (file, offset, whence), -1)

STAND_FOR_PATH(int, rename, Rename, (const char *path, const char *to), (path, to), -1)
STAND_FOR_PATH(int, renameat, Rename, (int at, const char *path, int toAt, const char *to),
               (at, path, toAt, to), -1)
STAND_FOR_PATH(int, renameat2, Rename,
               (int at, const char *path, int toAt, const char *to, unsigned flags),
               (at, path, toAt, to, flags), -1)
STAND_FOR_PATH(int, unlink, Remove, (const char *path), (path), -1)
STAND_FOR_PATH(int, unlinkat, Remove, (int at, const char *path, int flags), (at, path, flags), -1)
STAND_FOR_PATH(int, rmdir, Remove, (const char *path), (path), -1)
STAND_FOR_PATH(int, remove, Remove, (const char *path), (path), -1)
STAND_FOR_PATH(int, mkdir, MakeDirectory, (const char *path, unsigned mode), (path, mode), -1)
STAND_FOR_PATH(int, mkdirat, MakeDirectory, (int at, const char *path, unsigned mode),
               (at, path, mode), -1)
STAND_FOR_CALL(int, fcntl, Control, (int file, int command, void *argument),
               (file, command, argument), -1)
STAND_FOR_CALL(int, fcntl64, Control, (int file, int command, void *argument),
               (file, command, argument), -1)
STAND_FOR_CALL(int, flock, FileLock, (int file, int operation), (file, operation), -1)
STAND_FOR_CALL(int, ftruncate, Truncate, (int file, off_t size), (file, size), -1)
STAND_FOR_CALL(int, ftruncate64, Truncate, (int file, long long size), (file, size), -1)
STAND_FOR_PATH(int, truncate64, Truncate, (const char *path, long long size), (path, size), -1)

// The tests are about what is asked, not about the disk: nothing is waited for.
#define STAND_FOR_SYNC(name)                                                                       \
    STAND_FOR(int, name, (int file))                                                               \
    {                                                                                              \
        if (fails(Faults::Sync, #name))                                                            \
            return -1;                                                                             \
        return s_isActive ? 0 : real_##name()(file);                                               \
    }
STAND_FOR_SYNC(fsync)
STAND_FOR_SYNC(fdatasync)
STAND_FOR_SYNC(syncfs)

STAND_FOR_PATH(int, stat, Status, (const char *path, void *status), (path, status), -1)
STAND_FOR_PATH(int, stat64, Status, (const char *path, void *status), (path, status), -1)
STAND_FOR_PATH(int, lstat, Status, (const char *path, void *status), (path, status), -1)
STAND_FOR_PATH(int, lstat64, Status, (const char *path, void *status), (path, status), -1)
STAND_FOR_CALL(int, fstat, Status, (int file, void *status), (file, status), -1)
STAND_FOR_CALL(int, fstat64, Status, (int file, void *status), (file, status), -1)
STAND_FOR_PATH(int, fstatat, Status, (int at, const char *path, void *status, int flags),
               (at, path, status, flags), -1)
STAND_FOR_PATH(int, fstatat64, Status, (int at, const char *path, void *status, int flags),
               (at, path, status, flags), -1)
STAND_FOR_PATH(int, statx, Status,
               (int at, const char *path, int flags, unsigned mask, void *status),
               (at, path, flags, mask, status), -1)
STAND_FOR_PATH(int, access, Access, (const char *path, int mode), (path, mode), -1)
STAND_FOR_PATH(int, faccessat, Access, (int at, const char *path, int mode, int flags),
               (at, path, mode, flags), -1)
STAND_FOR_PATH(int, statvfs, Mounts, (const char *path, void *status), (path, status), -1)
STAND_FOR_PATH(int, statvfs64, Mounts, (const char *path, void *status), (path, status), -1)
STAND_FOR_PATH(void *, setmntent, Mounts, (const char *path, const char *mode), (path, mode),
               nullptr)
STAND_FOR_PATH(void *, opendir, Listing, (const char *path), (path), nullptr)
STAND_FOR_CALL(void *, fdopendir, Listing, (int file), (file), nullptr)
STAND_FOR_CALL(void *, readdir, Entry, (void *directory), (directory), nullptr)
STAND_FOR_CALL(void *, readdir64, Entry, (void *directory), (directory), nullptr)
STAND_FOR_PATH(int, link, Link, (const char *path, const char *to), (path, to), -1)
STAND_FOR_PATH(int, symlink, Link, (const char *target, const char *path), (target, path), -1)
STAND_FOR(int, linkat, (int at, const char *from, int toAt, const char *path, int flags))
{
    return fails(Faults::Link, "linkat", path) ? -1 : real_linkat()(at, from, toAt, path, flags);
}
STAND_FOR_TRANSFER(copy_file_range, KernelCopy,
                   (int from, long long *offset, int file, long long *toOffset, size_t size,
                    unsigned flags),
                   (from, offset, file, toOffset, size, flags))
STAND_FOR_TRANSFER(sendfile, KernelCopy, (int file, int from, off_t *offset, size_t size),
                   (file, from, offset, size))
STAND_FOR_CALL(int, ioctl, DeviceControl, (int file, unsigned long request, void *argument),
               (file, request, argument), -1)
STAND_FOR_PATH(int, chmod, Attributes, (const char *path, unsigned mode), (path, mode), -1)
STAND_FOR_CALL(int, fchmod, Attributes, (int file, unsigned mode), (file, mode), -1)
STAND_FOR_CALL(int, futimens, Attributes, (int file, const void *times), (file, times), -1)
STAND_FOR_PATH(int, chdir, CurrentDirectory, (const char *path), (path), -1)
STAND_FOR_CALL(char *, getcwd, CurrentDirectory, (char *room, size_t size), (room, size), nullptr)

STAND_FOR(char *, realpath, (const char *path, char *room))
{
    if (const char *program = standIn(path)) {
        if (!room)
            return ::strdup(program);
        std::snprintf(room, PATH_MAX, "%s", program);
        return room;
    }
    return fails(Faults::Resolve, "realpath", path) ? nullptr : real_realpath()(path, room);
}
STAND_FOR(ssize_t, readlink, (const char *path, char *room, size_t size))
{
    if (const char *program = standIn(path)) {
        const size_t length = std::strlen(program) < size ? std::strlen(program) : size;
        std::copy_n(program, length, room);
        return static_cast<ssize_t>(length);
    }
    return fails(Faults::Resolve, "readlink", path) ? -1 : real_readlink()(path, room, size);
}

STAND_FOR(int, shmget, (key_t key, size_t size, int flags))
{
    const int id = fails(Faults::SharedMemory, "shmget") ? -1 : real_shmget()(key, size, flags);
    if (s_state && (flags & IPC_CREAT))
        note(s_state->segments, id);
    return id;
}
STAND_FOR(void *, shmat, (int id, const void *address, int flags))
{
    // NOLINTNEXTLINE(performance-no-int-to-ptr): what shmat() gives for an error
    void *const failure = reinterpret_cast<void *>(-1);
    return fails(Faults::SharedMemory, "shmat") ? failure : real_shmat()(id, address, flags);
}
STAND_FOR_CALL(int, shmdt, SharedMemory, (const void *address), (address), -1)
STAND_FOR_CALL(int, shmctl, SharedMemory, (int id, int command, void *data), (id, command, data),
               -1)
STAND_FOR(int, semget, (key_t key, int count, int flags))
{
    const int id = fails(Faults::Semaphore, "semget") ? -1 : real_semget()(key, count, flags);
    if (s_state && (flags & IPC_CREAT))
        note(s_state->semaphores, id);
    return id;
}
STAND_FOR_CALL(int, semop, SemaphoreStep, (int id, void *operations, size_t count),
               (id, operations, count), -1)
STAND_FOR_CALL(int, semctl, Semaphore, (int id, int number, int command, void *argument),
               (id, number, command, argument), -1)

STAND_FOR_CALL(int, socket, Socket, (int domain, int type, int protocol), (domain, type, protocol),
               -1)
STAND_FOR_CALL(int, socketpair, Socket, (int domain, int type, int protocol, int *pair),
               (domain, type, protocol, pair), -1)
STAND_FOR_CALL(int, bind, Bind, (int file, const void *address, unsigned size),
               (file, address, size), -1)
STAND_FOR_CALL(int, listen, Listen, (int file, int backlog), (file, backlog), -1)
STAND_FOR_CALL(int, connect, Connect, (int file, const void *address, unsigned size),
               (file, address, size), -1)
STAND_FOR_CALL(int, accept, Accept, (int file, void *address, unsigned *size),
               (file, address, size), -1)
STAND_FOR_CALL(int, accept4, Accept, (int file, void *address, unsigned *size, int flags),
               (file, address, size, flags), -1)
STAND_FOR_CALL(int, getsockopt, SocketOption,
               (int file, int level, int name, void *value, unsigned *size),
               (file, level, name, value, size), -1)
STAND_FOR_CALL(int, setsockopt, SocketOption,
               (int file, int level, int name, const void *value, unsigned size),
               (file, level, name, value, size), -1)
STAND_FOR_CALL(int, getsockname, SocketOption, (int file, void *address, unsigned *size),
               (file, address, size), -1)
STAND_FOR_CALL(int, getpeername, SocketOption, (int file, void *address, unsigned *size),
               (file, address, size), -1)

STAND_FOR_CALL(int, fork, Fork, (), (), -1)
STAND_FOR_PATH(int, execv, Execute, (const char *path, char *const *arguments), (path, arguments),
               -1)
STAND_FOR_PATH(int, execve, Execute,
               (const char *path, char *const *arguments, char *const *environment),
               (path, arguments, environment), -1)
STAND_FOR_PATH(int, execvp, Execute, (const char *path, char *const *arguments), (path, arguments),
               -1)
STAND_FOR_CALL(int, pipe, Pipe, (int *ends), (ends), -1)
STAND_FOR_CALL(int, pipe2, Pipe, (int *ends, int flags), (ends, flags), -1)
STAND_FOR_CALL(int, dup, Duplicate, (int file), (file), -1)
STAND_FOR_CALL(int, dup2, Duplicate, (int file, int to), (file, to), -1)
STAND_FOR_CALL(int, dup3, Duplicate, (int file, int to, int flags), (file, to, flags), -1)
STAND_FOR_CALL(int, eventfd, Event, (unsigned value, int flags), (value, flags), -1)
STAND_FOR_CALL(int, poll, Poll, (void *files, unsigned long count, int timeout),
               (files, count, timeout), -1)
STAND_FOR_CALL(int, ppoll, Poll,
               (void *files, unsigned long count, const void *timeout, const void *signals),
               (files, count, timeout, signals), -1)
STAND_FOR_CALL(int, waitpid, Wait, (int pid, int *status, int options), (pid, status, options), -1)
STAND_FOR_CALL(int, wait4, Wait, (int pid, int *status, int options, void *usage),
               (pid, status, options, usage), -1)
STAND_FOR_CALL(int, waitid, Wait, (int type, unsigned id, void *info, int options),
               (type, id, info, options), -1)

// A process that has not come about must never be signalled by the number that stands
// for it: -1 is every process of the user.
STAND_FOR(int, kill, (int process, int signal))
{
    if (s_state && process > -2 && process < 2) {
        ++s_state->killed;
        errno = EPERM;
        return -1;
    }
    return real_kill()(process, signal);
}

// It returns its error.
STAND_FOR(int, pthread_create,
          (void *thread, const void *attributes, void *(*run)(void *), void *argument))
{
    return fails(Faults::Thread, "pthread_create")
        ? s_state->plan.error
        : real_pthread_create()(thread, attributes, run, argument);
}

// Qt comes this way for what the C library may lack.
STAND_FOR(long, syscall, (long number, long a, long b, long c, long d, long e, long f))
{
    const Family family = familyOf(number);
    const bool isFailing = family != Faults::FamilyCount && fails(family, "syscall");
    return isFailing ? -1 : real_syscall()(number, a, b, c, d, e, f);
}

// NOLINTEND(bugprone-reserved-identifier)
