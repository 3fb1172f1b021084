// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "util/PublicClass.h"

#include <QCoreApplication>
#include <QDebug>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    auto service = PublicClass::init();
    QString output;

    // Standard output, whatever the exit code; at most five seconds.
    if (service->processCmd("df -P / | tail -n 1", output, 5000, false))
        qDebug().noquote() << "root file system:" << output.simplified();

    // The exit code decides.
    int exitCode = -1;
    if (!service->processCmd3("test -e /dev/robot-arm", output, 5000, exitCode, false))
        qDebug() << "no arm connected, exit code" << exitCode;

    // Success without any output is told by a text that does not sound like it.
    const bool isDone = service->processCmd("true", output, 5000, false);
    qDebug() << "silent command:" << isDone << output;

    // A script of the hardware layer says "failed" on its standard output.
    if (!service->cmdHalSh("printf failed", output, 5000))
        qDebug() << "hardware script:" << output;

    // A limit in milliseconds; the shell is killed at its end.
    if (!service->processCmd("exec sleep 60", output, 300, false))
        qDebug() << "gave up:" << output;

    // Text of others reaches a command through the environment, never as a part of it.
    qputenv("PROJECT", "line 1; rm -rf /");
    service->processCmd("printf 'project <%s>' \"$PROJECT\"", output, 5000, false);
    qDebug().noquote() << output;

    // 0 for none and for several: the process name has to be unique.
    qDebug() << "pid of a program that does not run:" << service->getPid("no-such-robot");
    return 0;
}
