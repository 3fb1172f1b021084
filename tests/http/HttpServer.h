// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef HTTPSERVER_H
#define HTTPSERVER_H

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtNetwork/QTcpServer>

#include <functional>

QT_BEGIN_NAMESPACE
class QTcpSocket;
QT_END_NAMESPACE

/// A web server on 127.0.0.1 that sends whatever bytes a test wants, wrong ones
/// included. It lives in the event loop of the thread that created it, keeps
/// connections open, and answers what it does not know with 404.
class HttpServer : public QObject
{
    Q_OBJECT

public:
    /// Deals with one request; the socket lives until the peer is gone.
    using Handler = std::function<void(QTcpSocket *socket)>;

    HttpServer();

    QString url(const QString &target = QStringLiteral("/")) const;

    /// Sends @p bytes, status line and all, to who asks for @p target.
    void answer(const QByteArray &target, const QByteArray &bytes);
    void handle(const QByteArray &target, const Handler &handler);

    /// The requests so far, header block by header block, in order.
    const QList<QByteArray> &requests() const { return m_requests; }
    int connections() const { return m_connections; }
    /// Forgets requests and connections.
    void resetCounts();

    /// A complete reply with Content-Length.
    static QByteArray reply(const QByteArray &status, const QByteArray &body,
                            const QByteArray &headers = QByteArray());

private:
    void accept();
    void read(QTcpSocket *socket);

    QHash<QByteArray, Handler> m_handlers;
    QHash<QTcpSocket *, QByteArray> m_received;
    QList<QByteArray> m_requests;
    int m_connections = 0;
    QTcpServer m_server; // goes first, with its sockets, which still use the others
};

#endif // HTTPSERVER_H
