// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "singleapp/QtLocalPeer.h"

#include "singleapp/LocalMessage_p.h"
#include "singleapp/LockFile_p.h"
#include "singleapp/MessageFrame_p.h"
#include "singleapp/TemporaryPath_p.h"

#include <QtCore/QByteArray>
#include <QtCore/QCoreApplication>
#include <QtCore/QDebug>
#include <QtCore/QDir>
#include <QtCore/QThread>
#include <QtNetwork/QLocalServer>
#include <QtNetwork/QLocalSocket>

#include <memory>

#include <unistd.h>

namespace {

constexpr unsigned long retryDelayMs = 250;
constexpr int hexadecimal = 16;

/// A server may be between winning its lock and listening: one more attempt.
bool connectToPeer(QLocalSocket &socket, const QString &name, int timeoutMs)
{
    socket.connectToServer(name);
    if (socket.waitForConnected(timeoutMs))
        return true;
    socket.abort();
    QThread::msleep(retryDelayMs);
    socket.connectToServer(name);
    return socket.waitForConnected(timeoutMs);
}

} // namespace

QtLocalPeer::QtLocalPeer(QObject *parent, const QString &appId)
    : QObject(parent)
    , m_id(appId.isEmpty() ? QCoreApplication::applicationFilePath() : appId)
    , m_socketName(appSessionId(m_id))
    , m_server(new QLocalServer(this))
    , m_lockFile(QDir(ZeCore::temporaryPath()).absolutePath() + QLatin1Char('/') + m_socketName
                 + QLatin1String("-lockfile"))
{
    m_server->setSocketOptions(QLocalServer::UserAccessOption); // whatever the umask
    ZeCore::openLockFile(m_lockFile); // examined by every attempt to lock it
}

QtLocalPeer::~QtLocalPeer()
{
    // The socket goes before the lock: the next server must not lose its own to us.
    delete m_server;
}

bool QtLocalPeer::isClient()
{
    if (m_lockFile.isLocked())
        return false;
    if (!m_lockFile.lock(QtLockedFile::WriteLock, false))
        return true;

    if (!QLocalServer::removeServer(m_socketName))
        qWarning("QtSingleCoreApplication: could not cleanup socket");
    if (!m_server->listen(m_socketName)) {
        qWarning("QtSingleCoreApplication: listen on local socket failed, %s",
                 qUtf8Printable(m_server->errorString()));
    }
    connect(m_server, &QLocalServer::newConnection, this, &QtLocalPeer::receiveConnection);
    return false;
}

bool QtLocalPeer::sendMessage(const QString &message, int timeout, bool block)
{
    if (!isClient())
        return false;
    QLocalSocket socket;
    if (!connectToPeer(socket, m_socketName, timeout / 2))
        return false;
    const bool delivered = ZeCore::deliverMessage(socket, message, timeout);
    if (block)
        ZeCore::waitUntilClosed(socket);
    return delivered;
}

QString QtLocalPeer::appSessionId(const QString &appId)
{
    const QByteArray bytes = appId.toUtf8();
    const quint16 checksum = qChecksum(bytes.constData(), static_cast<uint>(bytes.size()));
    return QStringLiteral("qtsingleapplication-%1-%2")
        .arg(QString::number(checksum, hexadecimal), QString::number(::getuid(), hexadecimal));
}

void QtLocalPeer::receiveConnection()
{
    std::unique_ptr<QLocalSocket> socket(m_server->nextPendingConnection());
    if (!socket)
        return;
    QString message;
    switch (ZeCore::receiveMessage(*socket, message)) {
    case ZeCore::Reception::Stale:
        return;
    case ZeCore::Reception::Failed:
        qWarning() << "QtLocalPeer: Message reception failed" << socket->errorString();
        return;
    case ZeCore::Reception::Complete:
        break;
    }
    ZeCore::acknowledgeMessage(*socket);
    // The last act: the receiver owns the socket and may even delete this peer.
    Q_EMIT messageReceived(message, socket.release());
}
