// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Cases.h"
#include "Child.h"
#include "LogSubjects.h"
#include "Surroundings.h"

#include "log/ZeLog.h"
#include "util/PublicClass.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QProcess>

#include <cstdio>

namespace Bench {

namespace {

/// The output of a shell command, by whatever way.
using Shell = qint64 (*)(const QString &command);

qint64 byLibrary(const QString &command)
{
    QString output;
    if (!PublicClass::init()->processCmd(command, output, -1, false))
        fail(QStringLiteral("processCmd() failed"));
    return output.size();
}

qint64 byQt(const QString &command)
{
    QProcess process;
    process.start(QStringLiteral("/bin/bash"), {QStringLiteral("-c"), command});
    process.waitForFinished(-1);
    const QString output = QString::fromLocal8Bit(process.readAllStandardOutput());
    const QString error = QString::fromLocal8Bit(process.readAllStandardError());
    return output.size() + error.size();
}

qint64 byPopen(const QString &command)
{
    const QByteArray line = "exec bash -c '" + command.toLocal8Bit() + '\'';
    std::FILE *const pipe = ::popen(line.constData(), "re");
    std::string output;
    std::vector<char> block(65536);
    for (std::size_t size = 0; (size = std::fread(block.data(), 1, block.size(), pipe)) > 0;)
        output.append(block.data(), size);
    ::pclose(pipe);
    return static_cast<qint64>(QString::fromLocal8Bit(output.c_str()).size());
}

/// Memory that a fork() has to prepare for copying.
class Ballast
{
public:
    explicit Ballast(std::size_t bytes)
        : m_bytes(bytes, 1)
    {
        benchmark::DoNotOptimize(m_bytes.data());
    }

private:
    std::vector<char> m_bytes;
};

Body running(Shell shell, const QString &command, std::size_t ballast)
{
    return [=](benchmark::State &state) {
        const SilentStandardError silence;
        const Handler handler(&ZeLog::outputMessage);
        const Ballast memory(ballast);
        for ([[maybe_unused]] auto iteration : state)
            benchmark::DoNotOptimize(shell(command));
        dropLibraryQueue();
    };
}

Role peakOf(Shell shell)
{
    return [shell](const std::vector<std::string> &arguments) {
        int argc = 0;
        const QCoreApplication application(argc, nullptr);
        const SilentStandardError silence;
        shell(QString::fromStdString(arguments.at(0)));
        return printResult(peakMebibytes());
    };
}

Body peakOfRole(const QString &role, const QString &command)
{
    return [=](benchmark::State &state) {
        for ([[maybe_unused]] auto iteration : state)
            setMemory(state, resultOfRole(role, {command}));
    };
}

Case processCase(const QString &command, std::size_t ballast = 0)
{
    Case comparison;
    comparison.contestants = {{"library", running(&byLibrary, command, ballast)},
                              {"bare QProcess", running(&byQt, command, ballast)},
                              {"popen(exec bash -c)", running(&byPopen, command, ballast)}};
    comparison.goals = {{"bare QProcess", 1.03}};
    return comparison;
}

} // namespace

void addProcessCases(Suite &suite)
{
    suite.addRole("process-library", peakOf(&byLibrary));
    suite.addRole("process-qt", peakOf(&byQt));
    suite.addRole("process-popen", peakOf(&byPopen));

    Case nothing = processCase(QStringLiteral("true"));
    nothing.name = "process-true";
    nothing.title = "processCmd(\"true\")";
    nothing.iterations = 20;
    nothing.repetitions = 31;
    suite.add(std::move(nothing));

    const std::size_t ballast = suite.scaled(std::size_t(1) << 30, std::size_t(1) << 20);
    Case large = processCase(QStringLiteral("true"), ballast);
    large.name = "process-true-1gib";
    large.title = "processCmd(\"true\") of a program with 1 GiB resident";
    large.iterations = 10;
    large.repetitions = 15;
    suite.add(std::move(large));

    const int size = suite.scaled(100 << 20, 1 << 20);
    const QString command = QStringLiteral("yes 0123456789 | head -c %1").arg(size);
    Case output = processCase(command);
    output.name = "process-100mib";
    output.title = "processCmd() of 100 MiB output";
    output.unit = Unit::Throughput;
    output.bytes = size;
    output.iterations = 1;
    output.repetitions = 15;
    suite.add(std::move(output));

    Case memory;
    memory.name = "process-memory";
    memory.title = "the same, peak memory";
    memory.contestants = {
        {"library", peakOfRole(QStringLiteral("process-library"), command)},
        {"bare QProcess", peakOfRole(QStringLiteral("process-qt"), command)},
        {"popen(exec bash -c)", peakOfRole(QStringLiteral("process-popen"), command)}};
    memory.goals = {{"bare QProcess", 1.0}};
    memory.unit = Unit::Mebibytes;
    memory.iterations = 1;
    memory.repetitions = 3;
    suite.add(std::move(memory));
}

} // namespace Bench
