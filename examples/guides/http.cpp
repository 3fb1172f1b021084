// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "http/HttpApi.h"

#include <QCoreApplication>
#include <QDebug>
#include <QTcpServer>
#include <QTcpSocket>

namespace {

/// Stands for a controller: answers every request with the same status.
void answer(QTcpServer *server)
{
    QTcpSocket *const client = server->nextPendingConnection();
    QObject::connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
    QObject::connect(client, &QTcpSocket::readyRead, client, [client] {
        if (!client->readAll().endsWith("\r\n\r\n"))
            return;
        const QByteArray body(R"({"model": "ZC930", "axes": [12.5, -3]})");
        client->write("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: "
                      + QByteArray::number(body.size()) + "\r\n\r\n" + body);
        client->disconnectFromHost();
    });
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTcpServer controller;
    QObject::connect(&controller, &QTcpServer::newConnection, [&] { answer(&controller); });
    controller.listen(QHostAddress::LocalHost);
    const QString url = QString("http://127.0.0.1:%1/status").arg(controller.serverPort());

    auto http = HttpApi::init();
    if (http->getUrl(url)) { // waits up to 6 s, events of this thread are served
        const QVariantMap status = http->getJsonVariant(http->getReq().toByteArray()).toMap();
        qDebug() << "model" << status.value("model").toString() << status.value("axes").toList();
    } else {
        qWarning().noquote() << "no status:" << http->lastError();
    }

    controller.close();
    if (!http->getUrl(url))
        qDebug().noquote() << "switched off:" << http->lastError();
    HttpApi::releaseThis(); // at the end of the program only
    return 0;
}
