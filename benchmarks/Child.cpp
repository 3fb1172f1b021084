// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Child.h"

#include "Stopwatch.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QSocketNotifier>

#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Bench {

namespace {

double statusEntry(const QByteArray &name)
{
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly))
        fail(QStringLiteral("no /proc/self/status"));
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(name + ':'))
            return line.mid(name.size() + 1).simplified().split(' ').value(0).toDouble() / 1024;
    }
    fail(QStringLiteral("nothing in /proc/self/status"));
}

} // namespace

Child::Child(const QString &role, const QStringList &arguments)
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QCoreApplication::applicationFilePath(),
                    QStringList{QStringLiteral("--role"), role} + arguments);
    if (!m_process.waitForStarted())
        fail(m_process.errorString());
}

Child::~Child()
{
    m_process.closeWriteChannel();
    if (!m_process.waitForFinished())
        fail(QStringLiteral("a child does not end"));
}

QByteArray Child::readLine()
{
    while (!m_process.canReadLine()) {
        if (!m_process.waitForReadyRead(60000))
            fail(QStringLiteral("a child says nothing: %1")
                     .arg(m_process.arguments().join(QLatin1Char(' '))));
    }
    return m_process.readLine().trimmed();
}

double resultOfRole(const QString &role, const QStringList &arguments)
{
    return Child(role, arguments).readLine().toDouble();
}

int serveEventsUntilParentIsDone()
{
    QSocketNotifier end(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&end, &QSocketNotifier::activated, QCoreApplication::instance(),
                     &QCoreApplication::quit);
    tellReady();
    return QCoreApplication::exec();
}

void tellReady()
{
    std::puts("ready");
    std::fflush(stdout);
}

void waitUntilParentIsDone()
{
    char byte = 0;
    while (::read(STDIN_FILENO, &byte, 1) > 0) { }
}

int printResult(double result)
{
    std::printf("%.9f\n", result);
    return 0;
}

double runProgram(const std::string &program, const std::vector<std::string> &arguments)
{
    std::vector<char *> argv{const_cast<char *>(program.c_str())};
    for (const std::string &argument : arguments)
        argv.push_back(const_cast<char *>(argument.c_str()));
    argv.push_back(nullptr);

    posix_spawn_file_actions_t silence;
    ::posix_spawn_file_actions_init(&silence);
    ::posix_spawn_file_actions_addopen(&silence, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const Stopwatch watch;
    pid_t pid = 0;
    int status = 0;
    if (::posix_spawnp(&pid, program.c_str(), &silence, nullptr, argv.data(), environ) != 0
        || ::waitpid(pid, &status, 0) != pid || status != 0)
        fail(QStringLiteral("%1 failed").arg(QString::fromStdString(program)));
    const double seconds = watch.seconds();
    ::posix_spawn_file_actions_destroy(&silence);
    return seconds;
}

double peakMebibytes()
{
    return statusEntry("VmHWM");
}

double residentMebibytes()
{
    return statusEntry("VmRSS");
}

void fail(const QString &text)
{
    std::fprintf(stderr, "benchmark: %s\n", qUtf8Printable(text));
    std::exit(1);
}

} // namespace Bench
