// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "HttpServer.h"

#include <QtNetwork/QHostAddress>
#include <QtNetwork/QTcpSocket>

HttpServer::HttpServer()
{
    connect(&m_server, &QTcpServer::newConnection, this, &HttpServer::accept);
    if (!m_server.listen(QHostAddress::LocalHost))
        qFatal("the test server cannot listen");
}

QString HttpServer::url(const QString &target) const
{
    return QStringLiteral("http://127.0.0.1:%1%2")
        .arg(QString::number(m_server.serverPort()), target);
}

void HttpServer::answer(const QByteArray &target, const QByteArray &bytes)
{
    handle(target, [bytes](QTcpSocket *socket) { socket->write(bytes); });
}

void HttpServer::handle(const QByteArray &target, const Handler &handler)
{
    m_handlers.insert(target, handler);
}

void HttpServer::resetCounts()
{
    m_requests.clear();
    m_connections = 0;
}

QByteArray HttpServer::reply(const QByteArray &status, const QByteArray &body,
                             const QByteArray &headers)
{
    return "HTTP/1.1 " + status + "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n"
        + headers + "\r\n" + body;
}

void HttpServer::accept()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        ++m_connections;
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            m_received.remove(socket);
            socket->deleteLater();
        });
    }
}

void HttpServer::read(QTcpSocket *socket)
{
    m_received[socket] += socket->readAll();
    if (m_received.value(socket).startsWith('\x16')) { // a TLS handshake
        socket->write(reply("400 Bad Request", "plain HTTP only"));
        socket->disconnectFromHost();
        return;
    }
    for (;;) {
        const QByteArray received = m_received.value(socket);
        const int end = received.indexOf("\r\n\r\n");
        if (end < 0)
            return;
        const QByteArray request = received.left(end + 4);
        m_received[socket] = received.mid(end + 4);
        m_requests.append(request);
        const QByteArray target = request.split(' ').value(1);
        const Handler handler = m_handlers.value(target);
        if (handler)
            handler(socket);
        else
            socket->write(reply("404 Not Found", "no such page"));
    }
}
