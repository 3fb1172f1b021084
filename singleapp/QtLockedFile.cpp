// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "singleapp/QtLockedFile.h"

#include <cerrno>

#include <fcntl.h>

namespace {

/// Applies @p type to the whole file, whatever its size; returns 0 or the error number.
int setRecordLock(int descriptor, short type, bool block)
{
    struct flock record = {};
    record.l_type = type;
    record.l_whence = SEEK_SET;
    record.l_start = 0;
    record.l_len = 0;
    return ::fcntl(descriptor, block ? F_SETLKW : F_SETLK, &record) == -1 ? errno : 0;
}

void warnOf(int error)
{
    qWarning("QtLockedFile::lock(): fcntl: %s", qUtf8Printable(qt_error_string(error)));
}

} // namespace

QtLockedFile::QtLockedFile() = default;

QtLockedFile::QtLockedFile(const QString &name)
    : QFile(name)
{
}

QtLockedFile::~QtLockedFile()
{
    if (isOpen())
        unlock();
}

bool QtLockedFile::lock(LockMode mode, bool block)
{
    if (!isOpen()) {
        qWarning("QtLockedFile::lock(): file is not opened");
        return false;
    }
    if (mode == NoLock)
        return unlock();
    if (mode == m_lockMode)
        return true;
    // The file goes by its name, since remove() on this object would close the
    // descriptor that the new lock is for.
    if (isLocked() && releaseLock() && !fileName().isEmpty())
        QFile::remove(fileName());

    const int error = setRecordLock(handle(), mode == ReadLock ? F_RDLCK : F_WRLCK, block);
    if (error == 0) {
        m_lockMode = mode;
        return true;
    }
    if (error != EAGAIN && error != EINTR)
        warnOf(error);
    return false;
}

bool QtLockedFile::unlock()
{
    if (!isOpen()) {
        qWarning("QtLockedFile::unlock(): file is not opened");
        return false;
    }
    if (!isLocked())
        return true;
    if (!releaseLock())
        return false;
    // Removed by its name, which one opened by its descriptor alone does not have:
    // remove() on this object would stop at an error of close().
    close();
    if (!fileName().isEmpty())
        QFile::remove(fileName()); // not examined: the lock is given up in any case
    return true;
}

bool QtLockedFile::isLocked() const
{
    return m_lockMode != NoLock;
}

QtLockedFile::LockMode QtLockedFile::lockMode() const
{
    return m_lockMode;
}

bool QtLockedFile::releaseLock()
{
    const int error = setRecordLock(handle(), F_UNLCK, true);
    if (error != 0) {
        warnOf(error);
        return false;
    }
    m_lockMode = NoLock;
    return true;
}
