// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "http/HttpApi.h"
#include "log/ZeLog.h"
#include "util/PublicClass.h"

#include <QCoreApplication>
#include <QDebug>
#include <QSocketNotifier>

#include <csignal>
#include <sys/eventfd.h>

namespace {

const int s_endRequests = eventfd(0, EFD_CLOEXEC);

bool isQueueEmpty()
{
    const QMutexLocker lock(&ZeLog::_mutex);
    return ZeLog::_stringList.isEmpty();
}

void stopCleanly(ZeLog *log)
{
    qDebug() << "the last line that must be in the file";
    while (log->isRunning() && !isQueueEmpty()) // a writer without a file has ended
        QThread::msleep(10);
    log->setNeedStop(true);
    ZeLog::_synSem.release(); // wakes the writer if it sleeps
    log->wait();
    delete log; // from here on the handler does nothing
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    // All that a signal handler may do: wake the event loop through a descriptor.
    std::signal(SIGTERM, [](int) { eventfd_write(s_endRequests, 1); });
    QSocketNotifier notifier(s_endRequests, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &app, &QCoreApplication::quit);
    PublicClass::init()->appDir = app.applicationDirPath();
    PublicClass::init()->initMember();
    auto *log = new ZeLog;
    log->start();
    qInstallMessageHandler(ZeLog::outputMessage);

    qDebug() << "running";
    raise(SIGTERM); // as systemd does it; only here to let the example end
    const int code = app.exec();
    stopCleanly(log);       // first the logger, while everything still works,
    HttpApi::releaseThis(); // then the services
    return code;
}
