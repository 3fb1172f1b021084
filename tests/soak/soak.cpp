// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// A day of the suite in ten minutes: two long-lived programs that use all services,
// and instances that come and go beside them or are killed.

#include "SoakRun.h"
#include "Station.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>

#include <cstdio>
#include <random>

namespace {

constexpr char usage[] = "Usage: soak [MINUTES] [--seed NUMBER] [--report FILE]\n";

struct Options
{
    double minutes = 10;
    unsigned seed = std::random_device()();
    QString reportPath;
    bool isValid = true;
};

Options parse(const QStringList &arguments)
{
    Options options;
    for (int i = 1; i < arguments.size() && options.isValid; ++i) {
        const QString &argument = arguments.at(i);
        if (argument == QLatin1String("--seed"))
            options.seed = arguments.value(++i).toUInt(&options.isValid);
        else if (argument == QLatin1String("--report"))
            options.reportPath = arguments.value(++i);
        else
            options.minutes = argument.toDouble(&options.isValid);
    }
    options.isValid = options.isValid && options.minutes > 0;
    return options;
}

/// The library's own echo would drown the report; the stations' go elsewhere.
void dropMessages(QtMsgType /*type*/, const QMessageLogContext & /*context*/,
                  const QString & /*text*/)
{
}

} // namespace

int main(int argc, char **argv)
{
    const QByteArray role = argc == 3 ? QByteArray(argv[1]) : QByteArray();
    if (role == "--station")
        return Soak::runStation(argc, argv, QString::fromLocal8Bit(argv[2]));
    if (role == "--visitor")
        return Soak::runVisitor(argc, argv, QString::fromLocal8Bit(argv[2]));

    const QCoreApplication app(argc, argv);
    const Options options = parse(QCoreApplication::arguments());
    if (!options.isValid) {
        std::fputs(usage, stderr);
        return 2;
    }
    QFile file(options.reportPath);
    if (!options.reportPath.isEmpty() && !file.open(QIODevice::WriteOnly)) {
        std::fprintf(stderr, "soak: cannot write %s: %s\n", qPrintable(options.reportPath),
                     qPrintable(file.errorString()));
        return 2;
    }
    qInstallMessageHandler(dropMessages);
    Soak::SoakRun run(options.minutes, options.seed);
    const int status = run.exec();
    const QByteArray report = run.report();
    std::fwrite(report.constData(), 1, static_cast<std::size_t>(report.size()), stdout);
    if (file.isOpen())
        file.write(report);
    return status;
}
