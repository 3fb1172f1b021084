// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "files/SystemCalls.h"

#include <cerrno>
#include <cstdarg>
#include <cstring>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

thread_local SystemCalls::Behaviour t_behaviour;
thread_local SystemCalls::Counts t_counts;
thread_local bool t_isActive = false;
thread_local int t_writes = 0;
thread_local int t_seeks = 0;
thread_local bool t_wasInterrupted = false;

int fail(int error)
{
    errno = error;
    return -1;
}

/// Every other call of those that transfer data.
bool isInterrupted()
{
    if (!t_isActive || !t_behaviour.interruptions)
        return false;
    t_wasInterrupted = !t_wasInterrupted;
    return t_wasInterrupted;
}

off64_t seek(int file, off64_t offset, int whence)
{
    if (t_isActive && t_behaviour.seekError != 0 && ++t_seeks >= t_behaviour.firstFailingSeek)
        return fail(t_behaviour.seekError);
    return ::syscall(SYS_lseek, file, offset, whence);
}

/// What the kernel does in a file system that shares blocks.
int cloneFile(int to, int from)
{
    ++t_counts.clones;
    char block[4096];
    ssize_t count = 0;
    for (off64_t at = 0; (count = ::pread64(from, block, sizeof block, at)) > 0; at += count) {
        if (::pwrite64(to, block, static_cast<size_t>(count), at) != count)
            return fail(EIO);
    }
    return 0;
}

int openFile(const char *path, int flags, mode_t mode)
{
    if (std::strncmp(path, "/dev/", 5) == 0 && std::strncmp(path, "/dev/shm/", 9) != 0)
        ++t_counts.devicesOpened;
    if (t_isActive && t_behaviour.unnamedFileError != 0 && (flags & O_TMPFILE) == O_TMPFILE)
        return fail(t_behaviour.unnamedFileError);
    return static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

} // namespace

namespace SystemCalls {

void behave(const Behaviour &behaviour)
{
    reset();
    t_behaviour = behaviour;
    t_isActive = true;
}

void reset()
{
    t_behaviour = Behaviour();
    t_counts = Counts();
    t_writes = 0;
    t_seeks = 0;
    t_wasInterrupted = false;
    t_isActive = false;
}

Counts counts()
{
    return t_counts;
}

} // namespace SystemCalls

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {

int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return openFile(path, flags, mode);
}

int open64(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return openFile(path, flags, mode);
}

int linkat(int fromDirectory, const char *from, int toDirectory, const char *to, int flags) noexcept
{
    if (t_isActive && (flags & AT_EMPTY_PATH) && t_behaviour.descriptorLinkError != 0)
        return fail(t_behaviour.descriptorLinkError);
    if (t_isActive && std::strncmp(from, "/proc/", 6) == 0 && !t_behaviour.linkThroughProc)
        return fail(ENOENT);
    return static_cast<int>(::syscall(SYS_linkat, fromDirectory, from, toDirectory, to, flags));
}

ssize_t copy_file_range(int from, off64_t *fromOffset, int to, off64_t *toOffset, size_t size,
                        unsigned flags)
{
    const int call = t_counts.kernelCopies++;
    if (isInterrupted())
        return fail(EINTR);
    if (t_isActive && t_behaviour.kernelCopyError != 0
        && (call > 0 || t_behaviour.kernelCopyAtOnce))
        return fail(t_behaviour.kernelCopyError);
    if (t_isActive && t_behaviour.kernelCopyStops && call > 0)
        return 0;
    // In small steps, so that there are several calls.
    const size_t step = t_isActive && size > 100000 ? 100000 : size;
    return ::syscall(SYS_copy_file_range, from, fromOffset, to, toOffset, step, flags);
}

ssize_t write(int file, const void *data, size_t size)
{
    if (t_isActive && file > STDERR_FILENO) {
        if (isInterrupted())
            return fail(EINTR);
        if (t_behaviour.writeError != 0 && t_writes++ > 0)
            return fail(t_behaviour.writeError);
        if (t_behaviour.shortWrites && size > 1)
            --size;
    }
    return ::syscall(SYS_write, file, data, size);
}

int fchmod(int file, mode_t mode) noexcept
{
    if (t_isActive && t_behaviour.modeError != 0)
        return fail(t_behaviour.modeError);
    return static_cast<int>(::syscall(SYS_fchmod, file, mode));
}

ssize_t read(int file, void *data, size_t size)
{
    if (isInterrupted())
        return fail(EINTR);
    const bool isShort = t_isActive && t_behaviour.shortReads && size > 1000;
    return ::syscall(SYS_read, file, data, isShort ? 1000 : size);
}

off_t lseek(int file, off_t offset, int whence) noexcept
{
    return seek(file, offset, whence);
}

off64_t lseek64(int file, off64_t offset, int whence) noexcept
{
    return seek(file, offset, whence);
}

int ioctl(int file, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    const long argument = va_arg(arguments, long);
    va_end(arguments);
    if (t_isActive && t_behaviour.clones && request == FICLONE)
        return cloneFile(file, static_cast<int>(argument));
    return static_cast<int>(::syscall(SYS_ioctl, file, request, argument));
}

int fdatasync(int file)
{
    ++t_counts.fileSyncs;
    if (t_isActive && t_behaviour.syncError != 0 && !t_behaviour.onlyFileSystems)
        return fail(t_behaviour.syncError);
    // Only the answers matter then, and a busy disk takes its time.
    return t_isActive ? 0 : static_cast<int>(::syscall(SYS_fdatasync, file));
}

int syncfs(int file) noexcept
{
    ++t_counts.fileSystemSyncs;
    if (t_isActive && t_behaviour.syncError != 0)
        return fail(t_behaviour.syncError);
    return t_isActive ? 0 : static_cast<int>(::syscall(SYS_syncfs, file));
}

} // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
