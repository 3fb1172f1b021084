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

/// Creates the file if nothing has its name; a link has it as well. Returns false if
/// there is no file afterwards.
bool createMissing(const QByteArray &path)
{
    int descriptor = -1;
    do {
        descriptor = ::open(path.constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0)
        return errno == EEXIST;
    ::close(descriptor); // a new file: no lock of this process can be on it
    return true;
}

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
        struct stat named = {};
        if (!createMissing(path))
            return false;
        if (::lstat(path.constData(), &named) != 0)
            continue;
        if (!isTrusted(named))
            return false;
        struct stat opened = {};
        if (file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly)
            && ::fstat(file.handle(), &opened) == 0 && isSame(named, opened))
            return true;
        file.close();
    }
    return false;
}

} // namespace ZeCore
