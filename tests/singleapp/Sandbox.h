// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef SANDBOX_H
#define SANDBOX_H

#include "singleapp/QtLocalPeer.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QSharedMemory>
#include <QtCore/QString>
#include <QtCore/QSystemSemaphore>
#include <QtCore/QTemporaryDir>

namespace TestSupport {

/// A temporary directory of its own for this process and its children, and with it
/// their own sockets, lock files and shared memory.
class Sandbox
{
public:
    Sandbox()
        : m_valid(m_dir.isValid())
    {
        use();
        // Other users may look at the door.
        m_valid = m_valid
            && QFile::setPermissions(m_dir.path(),
                                     QFile::permissions(m_dir.path()) | QFile::ExeGroup
                                         | QFile::ReadGroup | QFile::ExeOther | QFile::ReadOther);
    }

    bool isValid() const { return m_valid; }
    QString path() const { return m_dir.path(); }

    /// Makes it the temporary directory (again).
    void use() const { setTemporaryDir(m_dir.path()); }
    static void setTemporaryDir(const QString &path) { qputenv("TMPDIR", QFile::encodeName(path)); }

    /// Path of the file of the peer or application @p id with the given ending.
    QString fileOf(const QString &id, const char *ending = "") const
    {
        return path() + QLatin1Char('/') + QtLocalPeer::appSessionId(id)
            + QString::fromLatin1(ending);
    }

    /// Removes what instances of @p appId that were killed have left in the system.
    static void removeTable(const QString &appId)
    {
        const QString key = QtLocalPeer::appSessionId(appId);
        {
            QSharedMemory memory(key);
            if (memory.attach())
                memory.detach(); // the last one out removes it
        }
        const QSystemSemaphore ownedNow(key, 1, QSystemSemaphore::Create);
    }

    /// The names of the files in it, for checks that nothing is left.
    QStringList entries() const
    {
        return QDir(path()).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    }

private:
    QTemporaryDir m_dir;
    bool m_valid;
};

} // namespace TestSupport

#endif // SANDBOX_H
