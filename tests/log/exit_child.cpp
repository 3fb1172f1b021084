// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// A program that ends in the way its first argument names; tst_processexit
// judges what it prints and its status. The second argument is its base directory.

#include "files/ZeFileManager.h"
#include "log/ZeLog.h"
#include "util/PublicClass.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDebug>
#include <QtCore/QDir>
#include <QtCore/QFile>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include <unistd.h>

namespace {

/// Logs while the statics of the program are destroyed.
struct LogsAtExit
{
    explicit LogsAtExit(const char *nameOfIt)
        : name(nameOfIt)
    {
    }
    Q_DISABLE_COPY(LogsAtExit)
    ~LogsAtExit()
    {
        qWarning().noquote() << "static destructor" << name << QStringLiteral("终");
        ZeLog::outputMessage(QtCriticalMsg, QMessageLogContext(),
                             QStringLiteral("direct %1").arg(name));
    }

    const char *name;
};

/// Uses the library before main().
struct LogsBeforeMain
{
    LogsBeforeMain()
    {
        if (qEnvironmentVariableIsSet("ZECORE_TEST_EARLY"))
            ZeLog::outputMessage(QtWarningMsg, QMessageLogContext(), QStringLiteral("before main"));
    }
};

const LogsBeforeMain s_beforeMain;
QString s_base;
const LogsAtExit s_first{"first"};

void useServices()
{
    PublicClass::init()->setDebugStr("used");
    ZeFileManager::init()->Md5Encryption(QByteArray("used"));
}

void releaseServices()
{
    for (int i = 0; i < 2; ++i) { // the second time does no harm
        PublicClass::releaseThis();
        ZeFileManager::releaseThis();
    }
    std::printf("instances %d %d\n", PublicClass::instance.isNull() ? 0 : 1,
                ZeFileManager::instance.isNull() ? 0 : 1);
    std::fflush(stdout);
}

ZeLog *startLog()
{
    auto *log = new ZeLog;
    log->start();
    qInstallMessageHandler(ZeLog::outputMessage);
    qDebug() << "logged";
    return log;
}

/// Waits until the log files hold @p text.
void waitUntilWritten(const QByteArray &text)
{
    const QDir dir(s_base + "/appInfo/log");
    for (;;) {
        const QStringList names = dir.entryList({"*.log"}, QDir::Files);
        for (const QString &name : names) {
            QFile file(dir.filePath(name));
            if (file.open(QIODevice::ReadOnly) && file.readAll().contains(text))
                return;
        }
        ::usleep(1000);
    }
}

void stopLog(ZeLog *log)
{
    waitUntilWritten("logged");
    log->setNeedStop(true);
    qDebug() << "end of log";
    log->wait();
    delete log;
}

[[noreturn]] void waitForTheEnd()
{
    for (;;)
        ::pause();
}

void flood()
{
    // Not with a stream: Qt's debug streams themselves may crash in a thread
    // that goes on while the process exits.
    for (int i = 0;; ++i)
        qWarning("flood %d 洪水", i);
}

int run(const char *scenario)
{
    const auto is = [scenario](const char *name) { return std::strcmp(scenario, name) == 0; };

    if (is("nothing"))
        return 0;
    if (is("services-unreleased")) {
        useServices();
        return 0;
    }
    if (is("services-released")) {
        useServices();
        releaseServices();
        return 0;
    }
    if (is("services-never-used")) {
        releaseServices();
        return 0;
    }
    if (is("handler-left")) {
        useServices();
        qInstallMessageHandler(ZeLog::outputMessage);
        qDebug() << "logged";
        return 0;
    }
    if (is("log-stopped")) {
        stopLog(startLog());
        return 0;
    }
    if (is("log-stopped-services-released")) {
        ZeLog *const log = startLog();
        useServices();
        stopLog(log);
        releaseServices();
        return 0;
    }
    if (is("log-leaked")) {
        startLog();
        return 0;
    }
    if (is("log-leaked-services-released")) {
        startLog();
        releaseServices();
        qDebug() << "after the services";
        waitUntilWritten("after the services");
        return 0;
    }
    if (is("writer-starts-after-the-services")) {
        auto *const log = new ZeLog;
        PublicClass::instance.clear();
        ZeFileManager::releaseThis();
        log->start();
        qInstallMessageHandler(ZeLog::outputMessage);
        qDebug() << "logged";
        waitUntilWritten("logged");
        return 0;
    }
    if (is("instance-cleared-and-made-again")) {
        const QSharedPointer<PublicClass> first = PublicClass::init();
        PublicClass::instance.clear();
        const QSharedPointer<PublicClass> second = PublicClass::init();
        return !second.isNull() && first != second ? 0 : 1;
    }
    if (is("exit-from-thread")) {
        startLog();
        std::thread([] { std::exit(0); }).detach();
        waitForTheEnd();
    }
    if (is("exit-in-flood")) {
        startLog();
        for (int i = 0; i < 4; ++i)
            std::thread(flood).detach();
        ::usleep(100000);
        return 0;
    }
    if (is("exit-from-thread-in-flood")) {
        startLog();
        for (int i = 0; i < 2; ++i)
            std::thread(flood).detach();
        std::thread([] {
            ::usleep(50000);
            std::exit(0);
        }).detach();
        waitForTheEnd();
    }
    if (is("destroy-waiting-writer")) {
        ZeLog *const log = startLog();
        waitUntilWritten("logged");
        ::usleep(200000); // the writer waits for a permit then
        std::printf("destroying\n");
        std::fflush(stdout);
        delete log; // never returns
        std::printf("destroyed\n");
        return 0;
    }
    if (is("destroy-with-permit-left")) {
        ZeLog log;
        ZeLog::_synSem.release(100000); // polled away 10 ms each
        log.start();
        return 0;
    }
    std::fprintf(stderr, "unknown scenario %s\n", scenario);
    return 64;
}

} // namespace

int main(int argc, char **argv)
{
    static const LogsAtExit last{"last"};
    QCoreApplication app(argc, argv);
    if (argc > 2) {
        s_base = QString::fromLocal8Bit(argv[2]);
        PublicClass::init()->logDir = s_base + QStringLiteral("/appInfo/log");
    }
    return run(argc > 1 ? argv[1] : "nothing");
}
