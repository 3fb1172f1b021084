// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "log/ZeLog.h"
#include "util/PublicClass.h"

#include <QCoreApplication>
#include <QDebug>

#include <thread>

namespace {
/// Level, operation and items of a line, as the library writes its own.
void reportBattery(double volts)
{
    if (volts < 22)
        qCritical().noquote() << "[error][reportBattery]" << volts << "V, driving home";
    else
        qDebug().noquote() << "[debug][reportBattery]" << volts << "V";
}

bool isQueueEmpty()
{
    const QMutexLocker lock(&ZeLog::_mutex);
    return ZeLog::_stringList.isEmpty();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    auto service = PublicClass::init();
    service->appDir = app.applicationDirPath();
    service->initMember(); // names the log directory; before the first ZeLog

    auto *log = new ZeLog;
    log->start();
    qInstallMessageHandler(ZeLog::outputMessage);

    std::thread monitor([] { // any thread may log
        for (const double volts : {25.5, 21.5})
            reportBattery(volts);
    });
    monitor.join();

    ZeLog::setWriteLogToFile(false); // silences file and console
    qDebug() << "a line that nobody sees";
    ZeLog::setWriteLogToFile(true);
    qWarning().noquote() << "[warning][main] a message of\ntwo lines";

    while (log->isRunning() && !isQueueEmpty()) // here a program would do its work
        service->waitMSTime(10);
    log->setNeedStop(true);   // the clean stop: ask,
    ZeLog::_synSem.release(); // wake the writer,
    log->wait();              // wait for it,
    delete log;               // and only then delete
    return 0;
}
