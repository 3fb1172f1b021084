// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// Locks a file and keeps the lock until standard input ends.
//   lock_child PATH read|write wait|try [SECOND-PATH|nobody]
// Says "waiting" before and "locked" or "refused" after each attempt. A second file
// is then waited for with a write lock. As "nobody" it gives root's rights up first
// and makes the file one that everybody may write.

#include "Commands.h"
#include "singleapp/QtLockedFile.h"

#include <QtCore/QCoreApplication>

#include <sys/stat.h>

namespace {

bool takeLock(QtLockedFile &file, QtLockedFile::LockMode mode, bool wait)
{
    if (!file.open(QIODevice::ReadWrite))
        return false;
    TestSupport::say("waiting");
    TestSupport::say(file.lock(mode, wait) ? "locked" : "refused");
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QString extra = arguments.value(4);
    const bool asNobody = extra == QLatin1String("nobody");
    if (asNobody) {
        if (!TestSupport::becomeNobody())
            return 2;
        ::umask(0);
    }
    const auto mode =
        arguments.at(2) == QLatin1String("read") ? QtLockedFile::ReadLock : QtLockedFile::WriteLock;
    QtLockedFile file(arguments.at(1));
    if (!takeLock(file, mode, arguments.at(3) == QLatin1String("wait")))
        return 3;
    QtLockedFile second(extra);
    if (!asNobody && !extra.isEmpty() && !takeLock(second, QtLockedFile::WriteLock, true))
        return 3;
    TestSupport::waitForEndOfInput();
    return 0;
}
