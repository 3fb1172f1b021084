// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef QTLOCKEDFILE_H
#define QTLOCKEDFILE_H

#include "core/ZeCoreGlobal.h"

#include <QtCore/QFile>
#include <QtCore/QString>

/// A QFile that can hold an advisory lock on the whole file: a mutex between
/// processes.
///
/// The lock is a POSIX record lock (`fcntl`). It belongs to the process and the
/// file, not to the object: it excludes other processes but no other object or
/// thread of this one, and it is gone as soon as this process closes *any*
/// descriptor of the file. So never open a locked file a second time, not even to
/// look at it, and give it up with unlock(), not with close().
///
/// @note A successful unlock() of a held lock deletes the file; callers rely on it. A
/// process that opens the path afterwards locks a new file, even while others
/// still wait for the deleted one: under contention two processes can hold "the"
/// lock at once.
///
/// The file is deleted by its name: give an absolute one if the current directory
/// may change. An object is used by one thread at a time.
class ZECORE_EXPORT QtLockedFile : public QFile
{
public:
    /// The kinds of locks.
    enum LockMode {
        NoLock = 0,   ///< none
        ReadLock = 1, ///< shared: any number of processes may hold it together
        WriteLock = 2 ///< exclusive
    };

    /// Creates an object without a file name, not open and not locked.
    QtLockedFile();
    /// Creates an object for the file @p name, not open and not locked.
    explicit QtLockedFile(const QString &name);
    /// If the file is open: unlock(), which deletes a file that was locked.
    ~QtLockedFile() override;

    /// Takes the lock @p mode; NoLock stands for unlock().
    ///
    /// The file must be open, for reading to take a ReadLock and for writing to take
    /// a WriteLock. If it is not open at all, "QtLockedFile::lock(): file is not
    /// opened" is logged as a warning. The mode already held is granted without
    /// asking the system. To change from one mode to the other the held lock is given
    /// up and the file deleted first; the new lock is then taken on the descriptor,
    /// which stays open. If that fails, no lock is held.
    ///
    /// With @p block true the call waits without limit for other processes to give
    /// up conflicting locks; only a signal ends the wait early. With @p block false
    /// it never waits.
    ///
    /// Returns whether the lock is held now. Being refused because of another
    /// process and being interrupted by a signal are silent; every other failure
    /// logs "QtLockedFile::lock(): fcntl: " and the system's text as a warning.
    bool lock(LockMode mode, bool block = true);

    /// Gives up the lock, closes the file and deletes it. To lock again, open() it.
    ///
    /// Returns true, too, if no lock was held (the file then stays open and in place)
    /// or if the file could not be deleted. Returns false after a warning if the file
    /// is not open ("QtLockedFile::unlock(): file is not opened") or if the system
    /// refuses, which leaves the lock mode as it is.
    ///
    /// @note The text of a refusal begins with "QtLockedFile::lock(): fcntl: " although
    /// the operation is another; callers rely on it.
    bool unlock();

    /// Whether this object holds a lock.
    bool isLocked() const;
    /// The lock that this object holds.
    LockMode lockMode() const;

private:
    Q_DISABLE_COPY(QtLockedFile)

    bool releaseLock();

    LockMode m_lockMode = NoLock;
};

#endif // QTLOCKEDFILE_H
