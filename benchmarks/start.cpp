// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Cases.h"
#include "Child.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QProcess>

namespace Bench {

namespace {

QString besideThis(const QString &name)
{
    return QCoreApplication::applicationDirPath() + QLatin1Char('/') + name;
}

Body running(const QString &name)
{
    return timed([=] { return runProgram(besideThis(name).toStdString()); });
}

Body residentOf(const QString &name)
{
    return [=](benchmark::State &state) {
        for ([[maybe_unused]] auto iteration : state) {
            QProcess process;
            process.start(besideThis(name), {QStringLiteral("resident")});
            process.waitForFinished();
            setMemory(state, process.readAllStandardOutput().trimmed().toDouble() / 1024);
        }
    };
}

} // namespace

void addStartCases(Suite &suite)
{
    const QString library = QStringLiteral("zecore_start_library");
    const QString qt = QStringLiteral("zecore_start_qt");
    Case start;
    start.name = "start";
    start.title = "exec to exit of a program with an application object";
    start.contestants = {{"library", running(library)}, {"Qt Core and Network alone", running(qt)}};
    start.goals = {{"Qt Core and Network alone", 1.05}};
    start.ownClock = true;
    start.iterations = 10;
    start.repetitions = 41;
    suite.add(std::move(start));

    Case memory;
    memory.name = "start-memory";
    memory.title = "the same, resident memory";
    memory.contestants = {{"library", residentOf(library)},
                          {"Qt Core and Network alone", residentOf(qt)}};
    memory.unit = Unit::Mebibytes;
    memory.iterations = 1;
    memory.repetitions = 9;
    suite.add(std::move(memory));
}

} // namespace Bench
