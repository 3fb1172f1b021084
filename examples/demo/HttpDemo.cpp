// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "HttpDemo.h"

#include "Demo.h"
#include "files/ZeFileManager.h"
#include "http/HttpApi.h"

#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

namespace {

const QByteArray status("{\"axes\": [12.5, -3], \"fault\": null, \"model\": \"ZC930\"}");

/// Answers each request with the status of a controller.
void answer(QTcpServer &server)
{
    QTcpSocket *const client = server.nextPendingConnection();
    QObject::connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
    QObject::connect(client, &QTcpSocket::readyRead, client, [client] {
        if (!client->readAll().endsWith("\r\n\r\n"))
            return;
        client->write("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: "
                      + QByteArray::number(status.size()) + "\r\n\r\n" + status);
        client->disconnectFromHost();
    });
}

} // namespace

void showHttp(Demo &demo)
{
    demo.headline("HTTP client: a controller's status becomes a file");
    QTcpServer server;
    QObject::connect(&server, &QTcpServer::newConnection, &server, [&server] { answer(server); });
    server.listen(QHostAddress::LocalHost);
    const QString url = QString("http://127.0.0.1:%1/status").arg(server.serverPort());
    demo.fact("Address", url);

    HttpApi &http = *HttpApi::init();
    demo.check(http.getUrl(url), "the reply came");
    const QVariant tree = http.getJsonVariant(http.getReq().toByteArray());
    demo.check(tree.toMap().value("model").toString() == "ZC930"
                   && tree.toMap().value("axes").toList() == QVariantList{12.5, -3.0},
               "it became a tree of maps and lists, every number a double");

    ZeFileManager &files = *ZeFileManager::init();
    const QString path = demo.directory() + "/status.json";
    demo.check(files.writeJsonFile(path, tree, QJsonDocument::Compact)
                   && files.readJsonFile(path) == tree,
               "written to a file and read again, it is the same tree");
    server.close();
    demo.check(!http.getUrl(url), "once the server is gone, the call says why it failed:");
    demo.quote(http.lastError());
}
