// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "singleapp/LocalMessage_p.h"

#include <QtCore/QByteArray>
#include <QtCore/QDataStream>
#include <QtCore/QDeadlineTimer>
#include <QtNetwork/QLocalSocket>

#include <limits>

namespace ZeCore {

namespace {

const char acknowledgement[] = "ack";
constexpr int acknowledgementSize = sizeof(acknowledgement) - 1;

constexpr int lengthWaitMs = 1000;
constexpr int textWaitMs = 2000;
constexpr int acknowledgementWaitMs = 1000;

constexpr int headerOfArray = 64; // more than Qt puts before the data of an array
/// What a QByteArray can hold.
constexpr quint32 maxAnnounced = std::numeric_limits<int>::max() - headerOfArray;
/// What may be set aside for a text because its sender announces it.
constexpr quint32 maxRoom = 16 << 20;
/// What QString::fromUtf8() can decode: it makes room for one QChar per byte.
constexpr int maxText = (std::numeric_limits<int>::max() - headerOfArray) / int(sizeof(QChar)) - 1;

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

/// Waits as long as the sender stays: a server that hurried it would drop it.
bool receiveLength(QLocalSocket &socket, quint32 &length)
{
    while (socket.bytesAvailable() < qint64(sizeof(length))) {
        // A socket stays valid after the other side has left; its state tells.
        if (!socket.isValid() || !isConnected(socket))
            return false;
        socket.waitForReadyRead(lengthWaitMs);
    }
    QDataStream(&socket) >> length;
    return true;
}

/// Appends what is there of @p missing bytes; returns their number, negative on failure.
qint64 readAvailable(QLocalSocket &socket, qint64 missing, QByteArray &bytes)
{
    const qint64 size = qMin(missing, socket.bytesAvailable());
    const int before = bytes.size();
    if (size > maxText - before)
        return -1;
    bytes.resize(before + static_cast<int>(size));
    const qint64 count = socket.read(bytes.data() + before, size);
    bytes.resize(before + static_cast<int>(qMax(count, qint64(0))));
    return count;
}

/// Receives up to @p length bytes, fewer if the sender stalls or leaves.
bool receiveText(QLocalSocket &socket, quint32 length, QByteArray &bytes)
{
    // Room that nobody writes to takes no memory. Growing with each piece instead would
    // have the system hand out the same pages again and again.
    bytes.reserve(static_cast<int>(qMin(length, maxRoom)));
    for (qint64 missing = length; missing > 0;) {
        if (socket.bytesAvailable() == 0 && !socket.waitForReadyRead(textWaitMs))
            break;
        const qint64 count = readAvailable(socket, missing, bytes);
        if (count < 0)
            return false;
        missing -= count;
    }
    return true;
}

} // namespace

bool deliverMessage(QLocalSocket &socket, const QString &message, int timeoutMs)
{
    const QByteArray text = message.toUtf8();
    // A QByteArray that is null would be streamed as the length 0xFFFFFFFF.
    QDataStream(&socket).writeBytes(text.constData(), static_cast<uint>(text.size()));
    return waitUntilWritten(socket, timeoutMs)
        && waitUntilAvailable(socket, acknowledgementSize, timeoutMs)
        && socket.read(acknowledgementSize) == acknowledgement;
}

Reception receiveMessage(QLocalSocket &socket, QString &message)
{
    quint32 length = 0;
    if (!receiveLength(socket, length))
        return Reception::Stale;
    QByteArray bytes;
    if (length > maxAnnounced || !receiveText(socket, length, bytes))
        return Reception::Failed;
    message = QString::fromUtf8(bytes.constData(), bytes.size()); // with its NULs
    return Reception::Complete;
}

void acknowledgeMessage(QLocalSocket &socket)
{
    if (!isConnected(socket))
        return;
    socket.write(acknowledgement, acknowledgementSize);
    waitUntilWritten(socket, acknowledgementWaitMs);
}

} // namespace ZeCore
