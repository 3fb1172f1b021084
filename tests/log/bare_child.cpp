// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// Logs one line and waits a moment without ever making an application object; its
// argument is the log directory. It prints its working directory before and after.

#include "log/ZeLog.h"
#include "util/PublicClass.h"

#include <QtCore/QDebug>
#include <QtCore/QDir>

#include <cstdio>

#include <unistd.h>

namespace {

bool isWritten(const QString &logDir)
{
    const QFileInfoList files = QDir(logDir).entryInfoList({"ZemixPro_*.log"}, QDir::Files);
    return !files.isEmpty() && files.first().size() > 0;
}

void printDirectory()
{
    std::printf("%s\n", qPrintable(QDir::currentPath()));
}

} // namespace

int main(int argc, char **argv)
{
    const QString logDir = QString::fromLocal8Bit(argv[argc - 1]);
    printDirectory();
    PublicClass::init()->logDir = logDir;
    auto *log = new ZeLog;
    log->start();
    qInstallMessageHandler(ZeLog::outputMessage);
    qWarning("bare");
    while (!isWritten(logDir))
        ::usleep(1000);
    PublicClass::init()->waitMSTime(1);
    log->setNeedStop(true);
    qDebug("end");
    log->wait();
    delete log;
    printDirectory();
    return 0;
}
