// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "log/ZeLog.h"
#include "util/PublicClass.h"

#include <QCoreApplication>
#include <QDebug>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);

    auto service = PublicClass::init();
    service->appDir = app.applicationDirPath();
    service->initMember(); // directories and controller model

    auto *log = new ZeLog;
    log->start();
    qInstallMessageHandler(ZeLog::outputMessage);

    QString output;
    if (service->processCmd("uname -sr", output, 5000, true))
        qWarning().noquote() << "running on" << service->zcName << output.trimmed();
    service->waitSTime(1); // the program's own work; events are served

    log->setNeedStop(true);   // the clean stop: ask,
    ZeLog::_synSem.release(); // wake the writer,
    log->wait();              // wait for it,
    delete log;               // and only then delete
    return 0;
}
