// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Cases.h"
#include "Child.h"
#include "Surroundings.h"

#include "singleapp/QtLocalPeer.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDataStream>
#include <QtCore/QFile>
#include <QtNetwork/QLocalServer>
#include <QtNetwork/QLocalSocket>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace Bench {

namespace {

constexpr int timeoutMs = 10000;

// The library.

int serveByLibrary(const std::vector<std::string> &arguments)
{
    int argc = 0;
    const QCoreApplication application(argc, nullptr);
    QtLocalPeer peer(nullptr, QString::fromStdString(arguments.at(0)));
    QObject::connect(&peer, &QtLocalPeer::messageReceived, &peer,
                     [](const QString & /*text*/, QObject *socket) { delete socket; });
    if (peer.isClient())
        return 1;
    return serveEventsUntilParentIsDone();
}

bool sendByLibrary(const QString &name, const QString &text)
{
    static std::unique_ptr<QtLocalPeer> peer;
    if (!peer)
        peer = std::make_unique<QtLocalPeer>(nullptr, name);
    return peer->sendMessage(text, timeoutMs, false);
}

// The same frames by Qt's local sockets.

void receiveByQt(QLocalSocket *socket)
{
    while (socket->bytesAvailable() < 4)
        socket->waitForReadyRead(1000);
    QDataStream stream(socket);
    quint32 length = 0;
    stream >> length;
    QByteArray bytes(static_cast<int>(length), Qt::Uninitialized);
    for (int done = 0; done < bytes.size();) {
        const int count = stream.readRawData(bytes.data() + done, bytes.size() - done);
        done += count;
        if (count < 0 || (done < bytes.size() && !socket->waitForReadyRead(2000)))
            break;
    }
    const QString text = QString::fromUtf8(bytes);
    benchmark::DoNotOptimize(text.constData());
    socket->write("ack", 3);
    socket->waitForBytesWritten(1000);
    delete socket;
}

int serveByQt(const std::vector<std::string> &arguments)
{
    int argc = 0;
    const QCoreApplication application(argc, nullptr);
    QLocalServer server;
    QObject::connect(&server, &QLocalServer::newConnection,
                     [&server] { receiveByQt(server.nextPendingConnection()); });
    if (!server.listen(QString::fromStdString(arguments.at(0))))
        return 1;
    return serveEventsUntilParentIsDone();
}

bool sendByQt(const QString &name, const QString &text)
{
    QLocalSocket socket;
    socket.connectToServer(name);
    if (!socket.waitForConnected(timeoutMs / 2))
        return false;
    const QByteArray bytes = text.toUtf8();
    QDataStream stream(&socket);
    stream.writeBytes(bytes.constData(), static_cast<uint>(bytes.size()));
    while (socket.bytesToWrite() > 0) {
        if (!socket.waitForBytesWritten(timeoutMs))
            return false;
    }
    return socket.waitForReadyRead(timeoutMs) && socket.read(3) == "ack";
}

// The same frames by the socket itself.

sockaddr_un addressOf(const QString &name)
{
    const QByteArray path = QFile::encodeName(workDirectory() + QLatin1Char('/') + name);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.constData(), sizeof(address.sun_path) - 1);
    return address;
}

bool readAll(int socket, char *data, std::size_t size)
{
    while (size > 0) {
        const ssize_t count = ::read(socket, data, size);
        if (count <= 0)
            return false;
        data += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

bool writeAll(int socket, const char *data, std::size_t size)
{
    while (size > 0) {
        const ssize_t count = ::write(socket, data, size);
        if (count <= 0)
            return false;
        data += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

int serveBySocket(const std::vector<std::string> &arguments)
{
    const int server = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = addressOf(QString::fromStdString(arguments.at(0)));
    ::unlink(address.sun_path); // that of an earlier case
    if (::bind(server, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0
        || ::listen(server, 10) != 0)
        return 1;
    std::thread([] {
        waitUntilParentIsDone();
        std::_Exit(0);
    }).detach();
    tellReady();
    for (;;) {
        const int socket = ::accept(server, nullptr, nullptr);
        std::uint32_t length = 0;
        if (readAll(socket, reinterpret_cast<char *>(&length), sizeof(length))) {
            QByteArray bytes(static_cast<int>(ntohl(length)), Qt::Uninitialized);
            if (readAll(socket, bytes.data(), static_cast<std::size_t>(bytes.size()))) {
                benchmark::DoNotOptimize(QString::fromUtf8(bytes));
                writeAll(socket, "ack", 3);
            }
        }
        ::close(socket);
    }
}

int connectedSocket(const QString &name)
{
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = addressOf(name);
    if (::connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0)
        fail(QStringLiteral("no connection"));
    return socket;
}

bool sendBySocket(const QString &name, const QString &text)
{
    const int socket = connectedSocket(name);
    const QByteArray bytes = text.toUtf8();
    const std::uint32_t length = htonl(static_cast<std::uint32_t>(bytes.size()));
    QByteArray frame(reinterpret_cast<const char *>(&length), sizeof(length));
    frame += bytes;
    char reply[3] = {};
    const bool done = writeAll(socket, frame.constData(), static_cast<std::size_t>(frame.size()))
        && readAll(socket, reply, sizeof(reply)) && std::memcmp(reply, "ack", 3) == 0;
    ::close(socket);
    return done;
}

/// Servers of all three kinds; they live from the first message to the last.
class Servers
{
    struct Server : Child
    {
        Server(const QString &role, const QString &name)
            : Child(role, {name})
        {
            readLine(); // ready
        }
    };
    Server m_library{QStringLiteral("message-library"), QStringLiteral("bench-library")};
    Server m_qt{QStringLiteral("message-qt"), QStringLiteral("bench-qt")};
    Server m_socket{QStringLiteral("message-socket"), QStringLiteral("bench-socket")};
};

using Send = bool (*)(const QString &name, const QString &text);

Body sending(const std::shared_ptr<std::unique_ptr<Servers>> &servers, Send send,
             const QString &name, int size)
{
    return [=](benchmark::State &state) {
        if (!*servers)
            *servers = std::make_unique<Servers>();
        const QString text(size, QLatin1Char('x'));
        for ([[maybe_unused]] auto iteration : state) {
            if (!send(name, text)) {
                state.SkipWithError("not acknowledged");
                break;
            }
        }
    };
}

std::string sizeName(int size)
{
    if (size >= 1 << 20)
        return std::to_string(size >> 20) + " MiB";
    return size >= 1024 ? std::to_string(size >> 10) + " KiB" : std::to_string(size) + " B";
}

} // namespace

void addMessageCases(Suite &suite)
{
    suite.addRole("message-library", &serveByLibrary);
    suite.addRole("message-qt", &serveByQt);
    suite.addRole("message-socket", &serveBySocket);
    const auto servers = std::make_shared<std::unique_ptr<Servers>>();
    const auto messageCase = [&](int size) {
        Case message;
        message.title = "message of " + sizeName(size) + " with acknowledgement";
        message.contestants = {
            {"library", sending(servers, &sendByLibrary, QStringLiteral("bench-library"), size)},
            {"bare QLocalSocket", sending(servers, &sendByQt, QStringLiteral("bench-qt"), size)},
            {"AF_UNIX", sending(servers, &sendBySocket, QStringLiteral("bench-socket"), size)}};
        message.iterations = size < 1 << 20 ? 300 : (size == 1 << 20 ? 30 : 4);
        return message;
    };

    for (const int size : {0, 1 << 10, 1 << 20, 16 << 20}) {
        Case message = messageCase(size);
        message.name = "message-" + std::to_string(size);
        message.goals = {{"bare QLocalSocket", 1.0}};
        message.repetitions = 31;
        suite.add(std::move(message));
    }
    for (const int size : {0, 1 << 10, 16 << 10, 256 << 10, 1 << 20, 4 << 20, 16 << 20}) {
        Case point = messageCase(size);
        point.name = "curve-message-" + std::to_string(size);
        point.point = {"message", static_cast<double>(size)};
        suite.add(std::move(point));
    }
}

} // namespace Bench
