// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "singleapp/LocalMessage_p.h"

#include <QtCore/QByteArray>
#include <QtCore/QDeadlineTimer>
#include <QtNetwork/QLocalSocket>

#include <sys/socket.h>
#include <unistd.h>

namespace ZeCore {

namespace {

const char acknowledgement[] = "ack";
constexpr int acknowledgementSize = sizeof(acknowledgement) - 1;
constexpr int acknowledgementWaitMs = 1000;

QDeadlineTimer deadlineIn(int timeoutMs)
{
    return timeoutMs < 0 ? QDeadlineTimer(QDeadlineTimer::Forever) : QDeadlineTimer(timeoutMs);
}

int remainingMs(const QDeadlineTimer &deadline)
{
    return static_cast<int>(deadline.remainingTime());
}

bool isConnected(const QLocalSocket &socket)
{
    return socket.state() == QLocalSocket::ConnectedState;
}

/// One wait of Qt's ends with the first piece that the other side takes.
bool waitUntilWritten(QLocalSocket &socket, int timeoutMs)
{
    const QDeadlineTimer deadline = deadlineIn(timeoutMs);
    // What the system takes at once needs no waiting for readiness.
    if (isConnected(socket))
        socket.flush();
    while (socket.bytesToWrite() > 0) {
        if (!isConnected(socket) || !socket.waitForBytesWritten(remainingMs(deadline)))
            return false;
    }
    return true;
}

/// One wait of Qt's ends with the first piece that arrives.
bool waitUntilAvailable(QLocalSocket &socket, int size, int timeoutMs)
{
    const QDeadlineTimer deadline = deadlineIn(timeoutMs);
    while (socket.bytesAvailable() < size) {
        if (!socket.waitForReadyRead(remainingMs(deadline)))
            return false;
    }
    return true;
}

/// What a message is read from.
class SocketSource
{
public:
    explicit SocketSource(QLocalSocket &socket)
        : m_socket(socket)
    {
    }

    qint64 bytesAvailable() const { return m_socket.bytesAvailable(); }
    /// A socket stays valid after the other side has left; its state tells.
    bool isConnected() const { return m_socket.isValid() && ZeCore::isConnected(m_socket); }
    bool waitForReadyRead(int timeoutMs) { return m_socket.waitForReadyRead(timeoutMs); }
    qint64 read(char *data, qint64 size) { return m_socket.read(data, size); }

private:
    QLocalSocket &m_socket;
};

/// Whether the server runs as this user or as root. Somebody else may have made a
/// socket of that name before it did.
bool isTrusted(const QLocalSocket &server)
{
    ucred peer = {};
    socklen_t size = sizeof peer;
    const auto descriptor = static_cast<int>(server.socketDescriptor());
    return ::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0
        && (peer.uid == ::geteuid() || peer.uid == ::getuid() || peer.uid == 0);
}

} // namespace

bool deliverMessage(QLocalSocket &socket, const QString &message, int timeoutMs)
{
    if (!isTrusted(socket)) {
        socket.abort();
        return false;
    }
    writeFrame(socket, message);
    return waitUntilWritten(socket, timeoutMs)
        && waitUntilAvailable(socket, acknowledgementSize, timeoutMs)
        && socket.read(acknowledgementSize) == acknowledgement;
}

void waitUntilClosed(QLocalSocket &socket)
{
    while (isConnected(socket) && socket.waitForReadyRead(-1))
        socket.readAll();
}

Reception receiveMessage(QLocalSocket &socket, QString &message)
{
    SocketSource source(socket);
    return receiveFrame(source, message);
}

void acknowledgeMessage(QLocalSocket &socket)
{
    if (!isConnected(socket))
        return;
    socket.write(acknowledgement, acknowledgementSize);
    waitUntilWritten(socket, acknowledgementWaitMs);
}

} // namespace ZeCore
