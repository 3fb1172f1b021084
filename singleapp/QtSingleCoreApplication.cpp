// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "singleapp/QtSingleCoreApplication.h"

#include "singleapp/InstanceTable_p.h"
#include "singleapp/LockFile_p.h"
#include "singleapp/QtLocalPeer.h"
#include "singleapp/QtLockedFile.h"
#include "singleapp/TemporaryPath_p.h"

#include <QtCore/QDebug>
#include <QtCore/QSharedMemory>
#include <QtCore/QVector>

#include <algorithm>

using ZeCore::InstanceTable;

namespace {

constexpr qint64 noPeer = -1;
constexpr int tableSize = 1024;

/// Holds the lock that guards the table of @p appId while it lives, as far as the
/// temporary directory allows: without the lock the work goes on all the same, and
/// callers rely on it.
class TableLock
{
public:
    explicit TableLock(const QString &appId)
        : m_file(path(appId))
    {
        ZeCore::openLockFile(m_file); // lock() reports that it is not open
        m_file.lock(QtLockedFile::WriteLock);
    }
    ~TableLock() { m_file.unlock(); }
    Q_DISABLE_COPY(TableLock)

private:
    static QString path(const QString &appId)
    {
        QString path = ZeCore::temporaryPath();
        if (!path.endsWith(QLatin1Char('/')))
            path += QLatin1Char('/');
        return path + QtLocalPeer::appSessionId(appId) + QLatin1String("-instances");
    }

    QtLockedFile m_file;
};

InstanceTable tableIn(QSharedMemory &memory)
{
    return {memory.data(), memory.size()};
}

QString peerId(const QString &appId, qint64 pid)
{
    return appId + QLatin1Char('-') + QString::number(pid);
}

/// Whether a peer for @p pid would meet this process's own lock file and, when it
/// goes, take the lock of this process with it. That holds for its own id and for
/// those few that have the same checksum, which nobody could tell apart anyway.
bool isOwnPeer(const QString &appId, qint64 pid)
{
    return QtLocalPeer::appSessionId(peerId(appId, pid))
        == QtLocalPeer::appSessionId(peerId(appId, QCoreApplication::applicationPid()));
}

} // namespace

QtSingleCoreApplication::QtSingleCoreApplication(const QString &appId, int &argc, char **argv)
    : QCoreApplication(argc, argv)
    , m_instances(new QSharedMemory(QtLocalPeer::appSessionId(appId), this))
    , m_appId(appId)
{
    const bool created = m_instances->create(tableSize);
    if (!created
        && (m_instances->error() != QSharedMemory::AlreadyExists || !m_instances->attach())) {
        qWarning() << "Failed to initialize instances shared memory: "
                   << m_instances->errorString();
        delete m_instances;
        m_instances = nullptr;
        return;
    }

    const TableLock lock(m_appId);
    InstanceTable table = tableIn(*m_instances);
    if (!created)
        findFirstPeer(table.ids());
    // Another process may be in the table even of the one that made the memory.
    table.append(applicationPid());
    m_pidPeer = new QtLocalPeer(this, peerId(m_appId, applicationPid()));
    connect(m_pidPeer, &QtLocalPeer::messageReceived, this,
            &QtSingleCoreApplication::messageReceived);
    m_pidPeer->isClient(); // listens from now on
}

QtSingleCoreApplication::~QtSingleCoreApplication()
{
    if (m_instances)
        leaveTable();
    // While there still is an application: sockets and notifiers need it.
    delete m_pidPeer;
    delete m_instances;
}

bool QtSingleCoreApplication::isRunning(qint64 pid)
{
    const qint64 target = pid == noPeer ? m_firstPeer : pid;
    return target != noPeer && isOtherAlive(target);
}

bool QtSingleCoreApplication::sendMessage(const QString &message, int timeout, qint64 pid)
{
    const qint64 target = pid == noPeer ? m_firstPeer : pid;
    if (target == noPeer || isOwnPeer(m_appId, target))
        return false;
    return QtLocalPeer(nullptr, peerId(m_appId, target)).sendMessage(message, timeout, m_block);
}

QString QtSingleCoreApplication::applicationId() const
{
    return m_appId;
}

void QtSingleCoreApplication::setBlock(bool value)
{
    m_block = value;
}

void QtSingleCoreApplication::findFirstPeer(const QVector<qint64> &ids)
{
    const auto first =
        std::find_if(ids.cbegin(), ids.cend(), [this](qint64 pid) { return isOtherAlive(pid); });
    if (first != ids.cend())
        m_firstPeer = *first;
}

void QtSingleCoreApplication::leaveTable()
{
    const TableLock lock(m_appId);
    InstanceTable table = tableIn(*m_instances);
    QVector<qint64> ids = table.ids();
    ids.erase(
        std::remove_if(ids.begin(), ids.end(), [this](qint64 pid) { return !isOtherAlive(pid); }),
        ids.end());
    table.replace(ids);
}

bool QtSingleCoreApplication::isOtherAlive(qint64 pid) const
{
    return !isOwnPeer(m_appId, pid) && QtLocalPeer(nullptr, peerId(m_appId, pid)).isClient();
}
