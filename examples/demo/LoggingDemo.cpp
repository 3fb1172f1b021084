// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "LoggingDemo.h"

#include "Demo.h"
#include "Progress.h"
#include "log/ZeLog.h"
#include "util/PublicClass.h"

#include <QtCore/QDebug>
#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QHash>
#include <QtCore/QThread>
#include <QtCore/QTime>

#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int threadCount = 4;
constexpr int maxWaitMs = 30000;
constexpr qint64 fileLimit = 10485760;
constexpr int keptFiles = 50;
constexpr int linesPerCycle = 100;
constexpr int cycleMs = 10;

QList<QByteArray> linesOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QList<QByteArray> lines = file.readAll().split('\n');
    lines.removeLast(); // behind the last line feed
    return lines;
}

/// As a suite program leaves it after weeks of work.
void fillLogDirectory(const QString &directory, int count)
{
    QDir().mkpath(directory);
    for (int i = 0; i < count; ++i) {
        QFile file(QString("%1/ZemixPro_2020-01-01_00-%2-00.log")
                       .arg(directory)
                       .arg(i, 2, 10, QChar('0')));
        if (file.open(QIODevice::WriteOnly))
            file.setFileTime(QDateTime(QDate(2020, 1, 1), QTime(0, i, 0)),
                             QFileDevice::FileModificationTime);
    }
}

/// As a control loop does: some lines, then the rest of the cycle.
void logInCycles(int thread, int lines)
{
    for (int i = 0; i < lines; ++i) {
        if (i % linesPerCycle == 0)
            QThread::msleep(cycleMs);
        if (i % 10 == 9)
            qCritical().noquote() << "[error][axis" + QString::number(thread) + "]"
                                  << "following error, cycle" << i;
        else
            qWarning().noquote() << "[warning][axis" + QString::number(thread) + "]"
                                 << "torque near its limit, cycle" << i;
    }
}

} // namespace

LoggingDemo::LoggingDemo(Demo &demo)
    : m_demo(demo)
    , m_consolePath(demo.directory() + "/console.txt")
{
    m_demo.headline("Logger: setting up");
    const PublicClass &service = *PublicClass::init();
    m_logDir = service.logDir;
    fillLogDirectory(m_logDir, 60);
    m_demo.fact("Log directory", m_logDir);
    m_demo.fact("Old log files", QString::number(logFiles().size()));

    m_savedStderr = ::dup(STDERR_FILENO);
    const int console = ::open(qPrintable(m_consolePath), O_CREAT | O_WRONLY | O_APPEND, 0600);
    ::dup2(console, STDERR_FILENO);
    ::close(console);

    m_log = std::make_unique<ZeLog>();
    m_log->start();
    qInstallMessageHandler(ZeLog::outputMessage);
    qDebug().noquote() << "[debug][main] the logger is running";
    ++m_linesLogged;
    m_demo.check(waitUntilWritten(1), "the first line has created a log file");
    m_demo.check(logFiles().size() == keptFiles + 1,
                 "at its start the logger has pruned the old files to the 50 newest");
}

LoggingDemo::~LoggingDemo()
{
    stop();
}

void LoggingDemo::showParallelLogging()
{
    m_demo.headline("Logger: four threads log while a shell command runs");
    const int linesPerThread = m_demo.isQuick() ? 500 : 25000;
    const int steps = m_demo.isQuick() ? 3 : 10;
    QString output;
    bool finished = false;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread)
        threads.emplace_back(logInCycles, thread, linesPerThread);
    threads.emplace_back([&output, &finished, steps] {
        const QString command =
            QString("for i in $(seq %1); do echo step $i; sleep 0.1; done").arg(steps);
        finished = PublicClass::init()->processCmd(command, output, maxWaitMs, true);
    });
    m_linesLogged += threadCount * linesPerThread + 2; // two by the command
    bool allWritten = false;
    {
        Progress progress(m_demo, "Lines in the file", m_linesLogged, "lines");
        allWritten = waitUntilWritten(m_linesLogged, &progress);
    }
    for (std::thread &thread : threads)
        thread.join();

    m_demo.check(finished && output.endsWith(QString("\nstep %1\n").arg(steps))
                     && output.count('\n') == steps,
                 QString("the command's output is complete: %1 steps").arg(steps));
    m_demo.check(allWritten, QString("all %1 lines have reached the file").arg(m_linesLogged));
    m_demo.check(hasEveryLineOnce(linesPerThread), "each of them exactly once");
    m_demo.check(linesOf(m_consolePath).size() == m_linesLogged,
                 "the console has shown as many lines, in colour:");
    const QList<QByteArray> lastEchoes = linesOf(m_consolePath).mid(m_linesLogged - 3);
    for (const QByteArray &line : lastEchoes)
        m_demo.quote(QString::fromLocal8Bit(line));
}

void LoggingDemo::showChangeOfFile()
{
    m_demo.headline("Logger: a file beyond 10 MiB is followed by a new one");
    const QString fullFile = currentFile();
    const int linesBefore = m_linesLogged;
    const bool allWritten = fillFile(fullFile);
    const int linesInFull = m_linesLogged;

    // File names have seconds: a new name needs a new second.
    const int second = QTime::currentTime().second();
    while (QTime::currentTime().second() == second)
        QThread::msleep(10);
    qDebug().noquote() << "this batch is dropped with the change of file";
    // The change of file prunes: the full file is the 50th now.
    QElapsedTimer waiting;
    waiting.start();
    while (logFiles().size() != keptFiles && waiting.elapsed() < maxWaitMs)
        QThread::msleep(5);
    qDebug().noquote() << "this line begins the new file";

    waiting.start();
    while (currentFile() == fullFile && waiting.elapsed() < maxWaitMs)
        QThread::msleep(10);
    waitUntilWritten(1);
    const QList<QByteArray> fresh = linesOf(currentFile());
    m_demo.check(fresh.size() == 1
                     && fresh.first().endsWith("[Zemix]this line begins the new file"),
                 "the new file begins with the batch after the dropped one");
    m_demo.check(linesOf(fullFile).size() == linesInFull && linesInFull > linesBefore && allWritten,
                 "every line before the change of file is still in the full one");
    m_demo.check(logFiles().size() == keptFiles + 1,
                 "pruned again: the 50 newest and the new file remain");
    m_demo.fact("Full file", QFileInfo(fullFile).fileName());
    m_demo.fact("New file", QFileInfo(currentFile()).fileName());
    m_linesLogged += 2;
}

void LoggingDemo::stop()
{
    if (!m_log)
        return;
    m_demo.headline("Logger: the clean stop, and the end of the log");
    m_log->setNeedStop(true);
    qDebug().noquote() << "[debug][main] goodbye"; // wakes the writer
    m_demo.check(m_log->wait(maxWaitMs), "the writer has ended");
    const QString lastFile = currentFile();
    m_log.reset();
    qInstallMessageHandler(nullptr);
    ::dup2(m_savedStderr, STDERR_FILENO);
    ::close(m_savedStderr);

    const QList<QByteArray> lines = linesOf(lastFile);
    const QList<QByteArray> lastLines = lines.mid(qMax(0, lines.size() - 5));
    for (const QByteArray &line : lastLines)
        m_demo.quote(QString::fromUtf8(line).left(100));

    qint64 bytes = 0;
    const QStringList names = logFiles();
    for (const QString &name : names)
        bytes += QFileInfo(m_logDir + '/' + name).size();
    m_demo.addToSummary("Lines logged", QString::number(m_linesLogged));
    m_demo.addToSummary("Log files kept", QString::number(names.size()));
    m_demo.addToSummary("Bytes in log files", QString::number(bytes));
}

QStringList LoggingDemo::logFiles() const
{
    return QDir(m_logDir).entryList({"*.log"}, QDir::Files, QDir::Name);
}

QString LoggingDemo::currentFile() const
{
    // The names are dates, so the last one is the newest.
    const QStringList names = logFiles();
    return m_logDir + '/' + (names.isEmpty() ? QString() : names.last());
}

/// Waits until the current file has that many lines, neither more nor less.
bool LoggingDemo::waitUntilWritten(int lines, Progress *progress)
{
    QElapsedTimer waiting;
    waiting.start();
    int written = 0;
    while ((written = m_written.count(currentFile())) < lines) {
        if (progress)
            progress->setDone(written);
        if (waiting.elapsed() > maxWaitMs)
            return false;
        QThread::msleep(5);
    }
    if (progress)
        progress->setDone(written);
    return written == lines;
}

bool LoggingDemo::hasEveryLineOnce(int linesPerThread) const
{
    QHash<QByteArray, int> seen;
    const QList<QByteArray> lines = linesOf(currentFile());
    for (const QByteArray &line : lines)
        ++seen[line.mid(line.indexOf("[Zemix]"))];
    for (int thread = 0; thread < threadCount; ++thread) {
        for (int i = 0; i < linesPerThread; ++i) {
            const char *form = i % 10 == 9
                ? "[Zemix][error][axis%d] following error, cycle %d"
                : "[Zemix][warning][axis%d] torque near its limit, cycle %d";
            if (seen.value(QString::asprintf(form, thread, i).toUtf8()) != 1)
                return false;
        }
    }
    return true;
}

/// Logs until the file is beyond the limit, one line at a time: what is queued
/// behind the line that fills the file would be dropped with the change.
bool LoggingDemo::fillFile(const QString &path)
{
    const QString filler(256 * 1024, QChar('.'));
    Progress progress(m_demo, "Size of the file", fileLimit, "bytes");
    qint64 size = QFileInfo(path).size();
    while (size <= fileLimit) {
        qDebug().noquote() << filler;
        if (!waitUntilWritten(++m_linesLogged))
            return false;
        size = QFileInfo(path).size();
        progress.setDone(size);
    }
    return true;
}

int LineCounter::count(const QString &path)
{
    if (path != m_path) {
        m_path = path;
        m_offset = 0;
        m_lines = 0;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || !file.seek(m_offset))
        return m_lines;
    const QByteArray fresh = file.readAll();
    m_offset += fresh.size();
    m_lines += fresh.count('\n');
    return m_lines;
}
