// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef LOCALMESSAGE_P_H
#define LOCALMESSAGE_P_H

#include "singleapp/MessageFrame_p.h"

#include <QtCore/QString>

QT_BEGIN_NAMESPACE
class QLocalSocket;
QT_END_NAMESPACE

/// The two sides of one message on a connected local socket. They block, and never
/// make Qt warn about the state of the socket.
namespace ZeCore {

/// Sends @p message and waits for the acknowledgement, up to @p timeoutMs each
/// (negative: without limit). Returns whether it came. Closes the connection, and sends
/// nothing, if another user than this one or root is at its other end.
bool deliverMessage(QLocalSocket &socket, const QString &message, int timeoutMs);

/// Waits without limit until the other side closes the connection. What it says until
/// then is thrown away.
void waitUntilClosed(QLocalSocket &socket);

/// Receives one message into @p message. Memory grows with what arrives, not with
/// the length that the sender announces.
Reception receiveMessage(QLocalSocket &socket, QString &message);

/// Tells the sender that its message has arrived, if it is still there.
void acknowledgeMessage(QLocalSocket &socket);

} // namespace ZeCore

#endif // LOCALMESSAGE_P_H
