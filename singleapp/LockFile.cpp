// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "singleapp/LockFile_p.h"

#include "singleapp/QtLockedFile.h"

#include <QtCore/QByteArray>
#include <QtCore/QFile>
#include <QtCore/QIODevice>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ZeCore {

namespace {

/// The file, created unless something has its name; a link has it as well.
class NewFile
{
public:
    explicit NewFile(const QByteArray &path)
    {
        do {
            m_descriptor = ::open(path.constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        } while (m_descriptor < 0 && errno == EINTR);
        m_isThere = m_descriptor >= 0 || errno == EEXIST;
    }
    /// Closes it only if it is new: no lock of this process can be on it.
    ~NewFile()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    Q_DISABLE_COPY(NewFile)

    /// Whether anything has the name.
    bool isThere() const { return m_isThere; }

    /// Removes it if it is new and no other process has locked it in the meantime.
    void withdraw(const QByteArray &path) const
    {
        struct flock record = {};
        record.l_type = F_WRLCK;
        record.l_whence = SEEK_SET;
        if (m_descriptor >= 0 && ::fcntl(m_descriptor, F_SETLK, &record) == 0)
            ::unlink(path.constData());
    }

private:
    int m_descriptor = -1;
    bool m_isThere = false;
};

bool isTrusted(const struct stat &status)
{
    return S_ISREG(status.st_mode) && (status.st_uid == ::geteuid() || status.st_uid == 0);
}

bool isSame(const struct stat &a, const struct stat &b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

} // namespace

bool openLockFile(QtLockedFile &file)
{
    // Whoever unlocks such a file deletes it, maybe between two steps of ours.
    constexpr int attempts = 100;
    const QByteArray path = QFile::encodeName(file.fileName());
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const NewFile created(path);
        struct stat named = {};
        if (!created.isThere())
            return false;
        if (::lstat(path.constData(), &named) != 0)
            continue;
        if (!isTrusted(named)) {
            created.withdraw(path);
            return false;
        }
        struct stat opened = {};
        if (file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly)
            && ::fstat(file.handle(), &opened) == 0 && isSame(named, opened))
            return true;
        file.close();
        created.withdraw(path);
    }
    return false;
}

} // namespace ZeCore
