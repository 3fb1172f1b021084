// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// Calls one operation of the utility service and prints the messages and the
// result. Operations that start other programs run only where the search path
// holds nothing but the stand-ins of the test.

#include "util/PublicClass.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QStringList>
#include <QtCore/QTimer>

#include <cstdio>

namespace {

void print(const QByteArray &line)
{
    std::printf("%s\n", line.constData());
    std::fflush(stdout);
}

void printMessage(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
{
    print((type == QtWarningMsg ? "W " : "D ") + text.toUtf8());
}

bool hasOnlyStandIns()
{
    const QByteArray path = qgetenv("PATH");
    return !path.isEmpty() && path == qgetenv("ZECORE_STAND_INS");
}

/// Leaves the current directory and the arguments, one a line, in @p report.
int reportRestart(const QString &report, const QStringList &arguments)
{
    QFile file(report);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        return 2;
    file.write((QDir::currentPath() + QLatin1Char('\n') + arguments.join(QLatin1Char('\n'))
                + QLatin1String("\nend\n"))
                   .toUtf8());
    return 0;
}

template <typename Operation>
int runInLoop(Operation operation)
{
    constexpr int limitMs = 20000;
    QTimer::singleShot(0, qApp, operation);
    QTimer::singleShot(limitMs, qApp, [] { QCoreApplication::exit(99); });
    print("loop ended with " + QByteArray::number(QCoreApplication::exec()));
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    qInstallMessageHandler(printMessage);
    PublicClass &service = *PublicClass::init();
    service.setLastError(QStringLiteral("earlier"));
    if (argc > 1 && qstrcmp(argv[1], "autoBootWithoutApplication") == 0) {
        service.setAutoBootSoftware(false);
        service.setAutoBootSoftware(true);
        return 0;
    }

    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QString operation = arguments.value(1);
    const QString argument = arguments.value(2);
    if (qEnvironmentVariableIsSet("ZECORE_RESTART_REPORT"))
        return reportRestart(qEnvironmentVariable("ZECORE_RESTART_REPORT"), arguments);
    if (operation == QLatin1String("rebootSelf")) {
        // Inherited by the second start, which therefore is the last in any case.
        qputenv("ZECORE_RESTART_REPORT", argument.toUtf8());
        return runInLoop([&service] { service.rebootSelf(); });
    }
    if (operation == QLatin1String("getPid")) {
        print("result " + QByteArray::number(service.getPid(argument)));
        return 0;
    }
    if (operation == QLatin1String("setAutoBootSoftware")
        || operation == QLatin1String("autoBootSoftware")) {
        QCoreApplication::setApplicationName(QStringLiteral("auto boot"));
        const bool on = argument == QLatin1String("on");
        if (operation == QLatin1String("autoBootSoftware"))
            service.autoBootSoftware(on);
        else
            service.setAutoBootSoftware(on);
        return 0;
    }

    if (!hasOnlyStandIns())
        return 3;
    if (operation == QLatin1String("killPid"))
        print(service.killPid(argument.toInt()) ? "result true" : "result false");
    else if (operation == QLatin1String("rebootSytem"))
        print(service.rebootSytem() ? "result true" : "result false");
    else if (operation == QLatin1String("rebootCmd"))
        return runInLoop([&service, argument] { service.rebootCmd(argument); });
    else
        return 4;
    return 0;
}
