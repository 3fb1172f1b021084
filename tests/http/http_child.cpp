// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// Uses the service in ways that a test program survives only once, or not at all:
//     http_child MODE [ARGUMENT...]
// Prints what it saw on standard output; its status is that of a program that
// ends in peace.

#include "http/HttpApi.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QHash>
#include <QtCore/QPointer>
#include <QtCore/QThread>
#include <QtCore/QTimer>
#include <QtNetwork/QNetworkReply>

#include <atomic>
#include <cstdio>
#include <functional>
#include <thread>
#include <vector>

namespace {

void say(const QString &text)
{
    std::printf("%s\n", qPrintable(text));
    std::fflush(stdout);
}

void sayMessage(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
{
    static const char letters[] = {'D', 'W', 'C', 'F', 'I'};
    say(QLatin1Char(letters[type]) + QString(QLatin1Char(' ')) + text);
}

/// One request and what it leaves behind.
void get(HttpApi &http, const QString &url)
{
    const bool ok = http.getUrl(url);
    say(QStringLiteral("result %1").arg(ok));
    say(QStringLiteral("body %1").arg(QString::fromUtf8(http.getReq().toByteArray())));
    say(QStringLiteral("error %1").arg(http.lastError()));
    say(QStringLiteral("timers %1").arg(http.findChildren<QTimer *>().size()));
}

/// A request during which the object may go.
void getOnly(const QString &url)
{
    say(QStringLiteral("result %1").arg(HttpApi::init()->getUrl(url)));
}

void createInManyThreads()
{
    std::atomic<bool> go{false};
    std::vector<HttpApi *> seen(8, nullptr);
    std::vector<std::thread> threads;
    for (HttpApi *&object : seen) {
        threads.emplace_back([&go, &object] {
            while (!go)
                std::this_thread::yield();
            object = HttpApi::init().data();
        });
    }
    go = true;
    for (std::thread &thread : threads)
        thread.join();
    bool same = seen.front() != nullptr;
    for (const HttpApi *object : seen)
        same = same && object == HttpApi::instance.data();
    say(QStringLiteral("same %1").arg(same));
    // It belongs to a thread that is gone.
    say(QStringLiteral("result %1")
            .arg(HttpApi::init()->getUrl(QStringLiteral("http://127.0.0.1/"))));
}

void releaseAndLook()
{
    const QPointer<HttpApi> object(HttpApi::init().data());
    HttpApi::releaseThis();
    say(QStringLiteral("gone %1, pointer kept %2")
            .arg(object.isNull())
            .arg(!HttpApi::instance.isNull()));
    HttpApi::releaseThis();
    say(QStringLiteral("still kept %1").arg(!HttpApi::instance.isNull()));
}

/// Deletions that only a later turn of an event loop would do.
void leaveDeferredDeletions(const QString &url)
{
    QTimer::singleShot(0, qApp, [url] {
        get(*HttpApi::init(), url);
        auto *manager = new QNetworkAccessManager(qApp);
        QNetworkReply *reply = manager->get(QNetworkRequest(QUrl(url)));
        QObject::connect(reply, &QNetworkReply::finished, qApp, [reply] {
            reply->deleteLater();
            QCoreApplication::quit();
        });
    });
    QCoreApplication::exec();
}

} // namespace

int main(int argc, char **argv)
{
    qInstallMessageHandler(sayMessage);
    if (argc > 2 && QByteArray(argv[1]) == "no-application") {
        HttpApi http;
        get(http, QString::fromLocal8Bit(argv[2]));
        return 0;
    }
    const QCoreApplication application(argc, argv);
    const QString argument = QCoreApplication::arguments().value(2);

    const QHash<QString, std::function<void()>> modes{
        {QStringLiteral("unused"), [] { HttpApi::releaseThis(); }},
        {QStringLiteral("create"), [] { HttpApi::init(); }},
        {QStringLiteral("create-in-many-threads"), createInManyThreads},
        {QStringLiteral("release"), releaseAndLook},
        {QStringLiteral("get"), [argument] { get(*HttpApi::init(), argument); }},
        {QStringLiteral("get-and-release"),
         [argument] {
             get(*HttpApi::init(), argument);
             releaseAndLook();
         }},
        {QStringLiteral("leave-deferred-deletions"),
         [argument] { leaveDeferredDeletions(argument); }},
        {QStringLiteral("quit-during-wait"),
         [argument] {
             HttpApi::init()->setLastError(QStringLiteral("earlier"));
             QTimer::singleShot(200, qApp, &QCoreApplication::quit);
             get(*HttpApi::init(), argument);
         }},
        {QStringLiteral("release-during-wait"),
         [argument] {
             QTimer::singleShot(200, qApp, &HttpApi::releaseThis);
             getOnly(argument);
         }},
        {QStringLiteral("release-in-nested-wait"),
         [argument] {
             QTimer::singleShot(200, qApp, [argument] {
                 QTimer::singleShot(200, qApp, &HttpApi::releaseThis);
                 getOnly(argument);
             });
             getOnly(argument);
         }},
        {QStringLiteral("release-by-signal"),
         [argument] {
             QObject::connect(HttpApi::init().data(), &HttpApi::sigHttpRequstFinished, qApp,
                              &HttpApi::releaseThis);
             getOnly(argument);
         }},
        {QStringLiteral("nested-get"),
         [argument] {
             int outcomes = 0;
             QObject::connect(HttpApi::init().data(), &HttpApi::sigHttpRequstFinished, qApp,
                              [&outcomes] { ++outcomes; });
             QTimer::singleShot(500, qApp, [argument] { getOnly(argument); });
             get(*HttpApi::init(), argument);
             say(QStringLiteral("outcomes %1").arg(outcomes));
         }},
        {QStringLiteral("remake"),
         [argument] {
             HttpApi::init()->remakePath(argument);
             say(QStringLiteral("directory %1").arg(QDir::currentPath()));
         }},
        {QStringLiteral("clear"),
         [argument] {
             say(QStringLiteral("result %1")
                     .arg(HttpApi::init()->removeDirWithContent(argument, {})));
             say(QStringLiteral("directory %1").arg(QDir::currentPath()));
         }},
    };
    const auto mode = modes.value(QCoreApplication::arguments().value(1));
    if (!mode)
        return 2;
    mode();
    // Qt lets go of a dropped request in a thread of its own. Ending at once, the
    // process may leave it no time, and leak checkers report what Qt still holds.
    QThread::msleep(300);
    return 0;
}
