// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef QTLOCALPEER_H
#define QTLOCALPEER_H

#include "core/ZeCoreGlobal.h"
#include "singleapp/QtLockedFile.h"

#include <QtCore/QObject>
#include <QtCore/QString>

QT_BEGIN_NAMESPACE
class QLocalServer;
QT_END_NAMESPACE

/// One end of the text messages that the processes of one user pass to each other.
///
/// Peers with the same id meet at a lock file and a local socket in the temporary
/// directory. The first process that asks becomes the server: it holds the write
/// lock of the file and listens on the socket for as long as its peer lives. All
/// others are clients and may send it messages.
///
/// **On the wire** a message is its length in bytes (32 bits, big-endian) and its
/// text in UTF-8; the reply is the three bytes "ack". A connection carries one
/// message. Other programs of the suite share names and format.
///
/// **Threads and blocking.** A peer is used by the thread that owns it, which must
/// run an event loop for a server to receive. A message is received in one go and
/// blocks that loop: without limit while a client is connected and has sent fewer
/// than four bytes; up to 2 s after each piece of a message that is cut off; up to
/// 1 s while the client does not take the acknowledgement. Only processes of the
/// same user (and root) can connect, whatever the umask, and messages go only to them.
///
/// **Limits.** The server and its lock belong to the process. A second peer of the
/// same id in the same process becomes a server as well and takes over the socket
/// of the first, and the lock is lost when either goes: have one. Ids are told
/// apart by a 16-bit checksum only.
///
/// If the temporary directory is missing or cannot be written, or if the lock file is a
/// link or belongs to another user, every peer counts as a client, and each question logs
/// "QtLockedFile::lock(): file is not opened".
class ZECORE_EXPORT QtLocalPeer : public QObject
{
    Q_OBJECT

public:
    /// Creates a peer that is neither server nor client yet; @p parent owns it, if given.
    ///
    /// An empty @p appId stands for the path of the program. The lock file is created;
    /// a peer that never became the server leaves it behind. Whether it could be
    /// opened shows only in isClient().
    QtLocalPeer(QObject *parent, const QString &appId);

    /// A server stops listening, closes the connections that nobody took and then
    /// gives up and deletes its lock file.
    ~QtLocalPeer() override;

    /// Whether another process is the server. If there is none, this peer becomes it.
    ///
    /// Never blocks. False also if this process became the server but could not
    /// listen; a warning tells why ("QtSingleCoreApplication: could not cleanup
    /// socket", "QtSingleCoreApplication: listen on local socket failed, " and the
    /// reason).
    bool isClient();

    /// Sends @p message to the server; returns whether it was acknowledged.
    ///
    /// False, too, if there is no other server; this peer may have become it then.
    /// Failures are silent.
    ///
    /// Blocks the thread without serving its events: twice @p timeout / 2 to connect,
    /// with 250 ms between the two attempts, then up to @p timeout to write and up to
    /// @p timeout for the acknowledgement. @p timeout is in milliseconds; a negative
    /// one waits without limit. With @p block true it waits on, whatever the result
    /// so far and without limit, until the server closes the connection.
    ///
    /// An empty and a null message are the same and arrive as an empty text.
    bool sendMessage(const QString &message, int timeout, bool block);

    /// The name of the local socket for @p appId is "qtsingleapplication-", the CRC-16
    /// (ISO 3309) of its UTF-8 bytes, "-" and the real user id of the process, both
    /// in lower-case hexadecimal without leading zeros.
    static QString appSessionId(const QString &appId);

Q_SIGNALS:
    /// The text @p message has arrived at this server and was acknowledged.
    ///
    /// @p socket, a QLocalSocket, is the open connection to its sender. The receiver
    /// owns it: delete it (at once or later) or close it to release a sender that
    /// waits. While nobody does, it stays open until the peer goes, and keeps whatever
    /// the sender sends after its message until somebody reads it.
    ///
    /// A message whose sender broke off arrives with the bytes that came; bytes that
    /// are no UTF-8 become U+FFFD.
    void messageReceived(const QString &message, QObject *socket);

private:
    Q_DISABLE_COPY(QtLocalPeer)

    void receiveConnection();

    QString m_id;
    QString m_socketName;
    QLocalServer *m_server;
    QtLockedFile m_lockFile;
};

#endif // QTLOCALPEER_H
