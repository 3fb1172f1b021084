// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "support/Child.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QProcess>
#include <QtCore/QProcessEnvironment>
#include <QtCore/QThread>

#include <deque>
#include <memory>

#include <unistd.h>

namespace TestSupport {

QByteArray ChildResult::report() const
{
    return QByteArray("started ") + (started ? "yes" : "no") + ", timed out "
        + (timedOut ? "yes" : "no") + ", crashed " + (crashed ? "yes" : "no") + ", exit code "
        + QByteArray::number(exitCode) + "\nstdout: " + out.right(4000)
        + "\nstderr: " + err.right(8000);
}

namespace {

void start(QProcess &process, const QString &program, const QStringList &arguments,
           const ChildOptions &options)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString &entry : options.environment) {
        const int equals = entry.indexOf(QLatin1Char('='));
        if (equals < 0)
            environment.remove(entry);
        else
            environment.insert(entry.left(equals), entry.mid(equals + 1));
    }
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(options.workingDirectory);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(program, arguments);
}

ChildResult resultOf(QProcess &process, int limitMs)
{
    ChildResult result;
    result.started = process.waitForStarted(limitMs);
    if (!result.started)
        return result;
    result.timedOut = !process.waitForFinished(limitMs) && process.state() != QProcess::NotRunning;
    if (result.timedOut) {
        process.kill();
        process.waitForFinished(-1);
    }
    result.crashed = process.exitStatus() == QProcess::CrashExit;
    result.exitCode = process.exitCode();
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

} // namespace

ChildResult runChild(const QString &program, const QStringList &arguments,
                     const ChildOptions &options)
{
    QProcess process;
    start(process, program, arguments, options);
    return resultOf(process, options.limitMs);
}

std::vector<ChildResult> runChildren(const QString &program,
                                     const std::vector<QStringList> &argumentLists,
                                     const ChildOptions &options)
{
    const auto atATime = static_cast<std::size_t>(QThread::idealThreadCount()) + 2;
    std::deque<std::unique_ptr<QProcess>> running;
    std::vector<ChildResult> results;
    const auto takeFirst = [&] {
        results.push_back(resultOf(*running.front(), options.limitMs));
        running.pop_front();
    };
    for (const QStringList &arguments : argumentLists) {
        if (running.size() == atATime)
            takeFirst();
        running.push_back(std::make_unique<QProcess>());
        start(*running.back(), program, arguments, options);
    }
    while (!running.empty())
        takeFirst();
    return results;
}

QString helperPath(const QString &name)
{
    return QDir(QCoreApplication::applicationDirPath()).filePath(name);
}

namespace {

QStringList unshareArguments()
{
    // Only root may mount without a user namespace of its own.
    return ::geteuid() == 0
        ? QStringList{QStringLiteral("--mount")}
        : QStringList{QStringLiteral("--mount"), QStringLiteral("--map-root-user")};
}

} // namespace

bool canMountPrivately()
{
    return runInPrivateMounts(QStringLiteral("mount -t tmpfs none /mnt"), QStringLiteral("true"),
                              {})
        .endedWith(0);
}

ChildResult runInPrivateMounts(const QString &setUp, const QString &program,
                               const QStringList &arguments, const ChildOptions &options)
{
    const QStringList shell{QStringLiteral("sh"), QStringLiteral("-ec"),
                            setUp + QLatin1String("\nexec \"$0\" \"$@\""), program};
    return runChild(QStringLiteral("unshare"), unshareArguments() + shell + arguments, options);
}

} // namespace TestSupport
