// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "faults/Operations.h"

#include "http/HttpApi.h"

#include <QtNetwork/QNetworkAccessManager>

#include <csignal>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Faults {

namespace {

pid_t s_server = 0;
int s_port = 0;
constexpr int bodySize = 100000;

/// Answers every request with the same body, until it is killed.
[[noreturn]] void serve(int listener)
{
    const QByteArray reply = "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: "
        + QByteArray::number(bodySize) + "\r\n\r\n" + QByteArray(bodySize, 'b');
    ::signal(SIGPIPE, SIG_IGN);
    for (;;) {
        const int connection = ::accept(listener, nullptr, nullptr);
        char request[2000];
        static_cast<void>(::recv(connection, request, sizeof request, 0));
        for (int sent = 0; sent < reply.size();) {
            const ssize_t count =
                ::send(connection, reply.constData() + sent, size_t(reply.size() - sent), 0);
            if (count <= 0)
                break;
            sent += static_cast<int>(count);
        }
        ::shutdown(connection, SHUT_WR);
        while (::recv(connection, request, sizeof request, 0) > 0) { }
        ::close(connection);
    }
}

void startServer(Trial & /*trial*/)
{
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto *const general = reinterpret_cast<sockaddr *>(&address);
    if (::bind(listener, general, size) != 0 || ::listen(listener, 8) != 0
        || ::getsockname(listener, general, &size) != 0)
        qFatal("cannot listen");
    s_port = ntohs(address.sin_port);
    s_server = ::fork();
    if (s_server == 0)
        serve(listener);
    ::close(listener);
}

void stopServer(Trial & /*trial*/)
{
    HttpApi::releaseThis();
    ::kill(s_server, SIGKILL);
    ::waitpid(s_server, nullptr, 0);
}

/// What the first manager of a process loads is no part of a request.
void loadNetwork(Trial & /*trial*/)
{
    const QNetworkAccessManager manager;
}

Operation getUrl()
{
    Operation operation{
        "getUrl",
        startServer,
        [](Trial &trial) {
            const QString url = QStringLiteral("http://127.0.0.1:%1/file").arg(s_port);
            const bool result = HttpApi::init()->getUrl(url);
            trial.value = QVariantList{result, HttpApi::init()->getIsSuccess(),
                                       HttpApi::init()->getReq(), HttpApi::init()->lastError()};
        },
        [](Trial &trial) {
            const QVariantList values = trial.value.toList();
            trial.require(values.at(0) == values.at(1), "result and flag differ");
            if (values.at(0).toBool()) {
                trial.require(values.at(2).toByteArray() == QByteArray(bodySize, 'b'),
                              "the body has " + QString::number(values.at(2).toByteArray().size())
                                  + " bytes");
                return;
            }
            const QString error = values.at(3).toString();
            trial.require(!error.isEmpty() && !error.contains("result is empty"),
                          "the last error is " + error);
            trial.require(!values.at(2).isValid(), "a body in spite of the failure");
            trial.requireFailure({"D !!!!Error:  \"" + error + '"'});
        },
        loadNetwork,
        stopServer};
    operation.allThreads = true;
    operation.waits = true;
    operation.limitMs = 25000;
    return operation;
}

} // namespace

Operations httpOperations()
{
    return {getUrl()};
}

} // namespace Faults
