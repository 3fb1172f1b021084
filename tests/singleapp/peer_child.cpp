// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// A peer in a process of its own.
//   peer_child ask ID                        says whether it is a client, and stays
//   peer_child send ID TIMEOUT BLOCK HEX     sends a text, says the result and the time
//   peer_child fill ID TIMEOUT COUNT         sends COUNT times "x"
//   peer_child fake ID ANSWER                holds the lock and answers with ANSWER:
//     lock (does not listen), late (listens after a while), mute, slow (the right
//     bytes one by one), nak, short ("ac", then closes), close, greedy (reads nothing),
//     chatter (the right bytes, then many more, then closes), full (another waits to be
//     accepted, for ever, and there is no room for a second)
// Add "nobody" to have root's rights given up first; the names stay those of root.

#include "Commands.h"
#include "singleapp/QtLocalPeer.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QThread>
#include <QtCore/QTimer>
#include <QtNetwork/QLocalServer>
#include <QtNetwork/QLocalSocket>

#include <cstdio>

#include <sys/socket.h>

using TestSupport::say;
using TestSupport::yesNo;

namespace {

int ask(const QString &id)
{
    QtLocalPeer peer(nullptr, id);
    say(QByteArray("client ") + yesNo(peer.isClient()));
    const TestSupport::CommandReader untilTheEnd([](const QList<QByteArray> &) {});
    return QCoreApplication::exec();
}

int send(const QString &id, const QStringList &arguments)
{
    const QByteArray bytes = QByteArray::fromHex(arguments.value(5).toLatin1());
    const QString text = QString::fromUtf8(bytes.constData(), bytes.size()); // with its NULs
    QtLocalPeer peer(nullptr, id);
    QElapsedTimer timer;
    timer.start();
    const bool sent =
        peer.sendMessage(text, arguments.at(3).toInt(), arguments.at(4) == QLatin1String("block"));
    say(QByteArray("sent ") + yesNo(sent) + ' ' + QByteArray::number(timer.elapsed()));
    return 0;
}

int fill(const QString &id, const QStringList &arguments)
{
    QtLocalPeer peer(nullptr, id);
    const QString text(arguments.at(4).toInt(), QLatin1Char('x'));
    say(QByteArray("sent ") + yesNo(peer.sendMessage(text, arguments.at(3).toInt(), false)));
    return 0;
}

/// Answers once the message, or at least its beginning, is there.
void answer(QLocalSocket *socket, const QString &kind)
{
    const QByteArray reply = kind == QLatin1String("nak") ? "nak"
        : kind == QLatin1String("short")                  ? "ac"
                                                          : "ack";
    if (kind == QLatin1String("slow")) {
        for (const char letter : reply) {
            socket->write(&letter, 1);
            socket->flush();
            QThread::msleep(50);
        }
    } else if (kind == QLatin1String("close")) {
        socket->abort();
    } else if (kind == QLatin1String("chatter")) {
        socket->write(reply);
        const QByteArray mebibyte(1024 * 1024, 'c');
        for (int i = 0; i < 256; ++i) {
            socket->write(mebibyte);
            while (socket->bytesToWrite() > 0 && socket->waitForBytesWritten(10000)) { }
        }
        socket->disconnectFromServer();
    } else {
        socket->write(reply);
        socket->flush();
        if (kind == QLatin1String("short"))
            socket->abort();
    }
}

int stayFull(QLocalServer &server, const QString &name)
{
    server.listen(name);
    ::listen(static_cast<int>(server.socketDescriptor()), 0);
    QLocalSocket waiting;
    waiting.connectToServer(name);
    say("ready");
    while (std::getchar() != EOF) { } // without events nothing is accepted
    return 0;
}

int fake(const QString &name, const QString &kind)
{
    QtLockedFile lock(QDir::tempPath() + QLatin1Char('/') + name + QLatin1String("-lockfile"));
    if (!lock.open(QIODevice::ReadWrite) || !lock.lock(QtLockedFile::WriteLock, false))
        return 3;
    QLocalServer server;
    if (kind == QLatin1String("full"))
        return stayFull(server, name);
    if (kind == QLatin1String("late")) {
        QTimer::singleShot(100, &server, [&server, name] { server.listen(name); });
    } else if (kind != QLatin1String("lock")) {
        server.listen(name);
    }
    QObject::connect(&server, &QLocalServer::newConnection, &server, [&server, kind] {
        QLocalSocket *socket = server.nextPendingConnection();
        if (kind == QLatin1String("greedy"))
            socket->setReadBufferSize(1);
        else if (kind != QLatin1String("mute"))
            QObject::connect(socket, &QLocalSocket::readyRead, socket, [socket, kind] {
                socket->readAll();
                answer(socket, kind);
            });
    });
    say("ready");
    const TestSupport::CommandReader untilTheEnd([](const QList<QByteArray> &) {});
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char **argv)
{
    // Which the user is a part of.
    const QString name = QtLocalPeer::appSessionId(QString::fromLocal8Bit(argv[2]));
    if (qstrcmp(argv[argc - 1], "nobody") == 0 && !TestSupport::becomeNobody())
        return 2;
    const QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QString mode = arguments.at(1);
    const QString id = arguments.at(2);
    if (mode == QLatin1String("ask"))
        return ask(id);
    if (mode == QLatin1String("send"))
        return send(id, arguments);
    if (mode == QLatin1String("fill"))
        return fill(id, arguments);
    return fake(name, arguments.at(3));
}
