// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef SYSTEMCALLS_H
#define SYSTEMCALLS_H

/// Lets system calls of the process fail as on other kernels, file systems and
/// full disks, and counts some. A program that links SystemCalls.cpp defines these
/// calls itself, so that the library under test uses them.
namespace SystemCalls {

/// What the next calls do.
struct Behaviour
{
    int unnamedFileError = 0;      ///< of open() with O_TMPFILE
    int descriptorLinkError = 0;   ///< of linkat() with AT_EMPTY_PATH
    bool linkThroughProc = true;   ///< /proc is there
    int kernelCopyError = 0;       ///< of copy_file_range(), from the second call on
    bool kernelCopyAtOnce = false; ///< the error from the first call on
    int writeError = 0;            ///< of write() to files, from the second call on
    int syncError = 0;             ///< of fdatasync() and syncfs()
    bool onlyFileSystems = false;  ///< this error of syncfs() alone
    bool shortReads = false;       ///< read() gives 1000 bytes at most
    bool shortWrites = false;      ///< write() takes one byte less than given
    int modeError = 0;             ///< of fchmod(), as on FAT, which keeps no modes
    bool kernelCopyStops = false;  ///< copy_file_range() says "end" from the second call on
    bool interruptions = false;    ///< every other read, write and copy fails with EINTR
    int seekError = 0;             ///< of lseek()
    int firstFailingSeek = 1;      ///< the number of the first call that fails so
    bool clones = false;           ///< ioctl() knows FICLONE
};

/// What has been called since reset().
struct Counts
{
    int fileSystemSyncs = 0;
    int fileSyncs = 0;
    int kernelCopies = 0;
    int devicesOpened = 0;
    int clones = 0;
};

/// From now on, until reset(). Only for the thread that calls it.
void behave(const Behaviour &behaviour);
void reset();
Counts counts();

} // namespace SystemCalls

#endif // SYSTEMCALLS_H
