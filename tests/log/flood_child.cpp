// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// Logs numbered lines from four threads until it is killed; its argument is the
// log directory. It says "running" once the first line is on disk.

#include "log/ZeLog.h"
#include "util/PublicClass.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDebug>
#include <QtCore/QDir>

#include <cstdio>
#include <thread>
#include <vector>

#include <unistd.h>

namespace {

bool hasLines(const QString &logDir)
{
    const QFileInfoList files = QDir(logDir).entryInfoList({"ZemixPro_*.log"}, QDir::Files);
    return !files.isEmpty() && files.first().size() > 0;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    const QString logDir = QString::fromLocal8Bit(argv[argc - 1]);
    PublicClass::init()->logDir = logDir;
    ZeLog log;
    log.start();
    qInstallMessageHandler(ZeLog::outputMessage);

    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([thread] {
            // Paced, so that the file stays below its limit for a while.
            for (int i = 0;; ++i) {
                qWarning().noquote() << thread << i << "text of some length";
                if (i % 50 == 0)
                    ::usleep(2000);
            }
        });
    }
    while (!hasLines(logDir))
        ::usleep(1000);
    std::printf("running\n");
    std::fflush(stdout);
    for (std::thread &thread : threads)
        thread.join();
    return 0;
}
