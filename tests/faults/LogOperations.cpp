// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "faults/Operations.h"

#include "core/Sync_p.h"
#include "files/ZeFileManager.h"
#include "log/ZeLog.h"
#include "util/PublicClass.h"

#include <QtCore/QDebug>
#include <QtCore/QDir>

#include <memory>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Faults {

namespace {

std::unique_ptr<ZeLog> s_log;

void useLogDirectory(Trial &trial)
{
    ZeFileManager::init();
    PublicClass::init()->logDir = trial.path("log");
}

void createLog(Trial &trial)
{
    useLogDirectory(trial);
    s_log = std::make_unique<ZeLog>();
}

/// The lines of all log files in the order of their names, without their stamps, the
/// last one only up to where it ends.
QStringList loggedLines(const Trial &trial)
{
    QStringList lines;
    const QString begin = trial.path("log/ZemixPro_");
    for (auto file = trial.after().cbegin(); file != trial.after().cend(); ++file) {
        constexpr int kindSize = 5;
        if (!file.key().startsWith(begin) || file.value() == "large")
            continue;
        QStringList some = QString::fromUtf8(file.value().mid(kindSize)).split('\n');
        if (some.constLast().isEmpty())
            some.removeLast();
        lines += some;
    }
    constexpr int stampSize = sizeof("[yyMMdd hhmmss.zzz]") - 1;
    for (QString &line : lines)
        line.remove(0, stampSize);
    return lines;
}

/// Waits until the writer has taken everything, or has ended.
void waitForWriter()
{
    constexpr int attempts = 3000;
    for (int i = 0; i < attempts && s_log->isRunning(); ++i) {
        {
            const ZeCore::MutexLock lock(ZeLog::_mutex);
            if (ZeLog::_stringList.isEmpty())
                return;
        }
        ::usleep(1000);
    }
}

constexpr int batches = 3;

QString text(int number)
{
    return "line " + QString::number(number) + " of some length, that is to be whole";
}

/// A program that logs, saves in vain and stops its log in the clean way.
void logAndStop()
{
    const QtMessageHandler before = qInstallMessageHandler(ZeLog::outputMessage);
    s_log->start();
    for (int i = 0; i < batches; ++i) {
        qWarning().noquote() << text(2 * i);
        qDebug().noquote() << text(2 * i + 1);
        waitForWriter();
    }
    ZeFileManager::setLastError("a failure");
    waitForWriter();
    s_log->setNeedStop(true);
    qDebug().noquote() << "end of log";
    s_log->wait();
    qInstallMessageHandler(before);
}

void releaseLog(Trial & /*trial*/)
{
    s_log.reset();
}

QStringList expectedLines()
{
    QStringList lines;
    for (int i = 0; i < 2 * batches; ++i)
        lines.append("[Zemix]" + text(i));
    lines.append("[Zemix][warning][setLastError] [ a failure ]");
    return lines;
}

/// Each line is there once, whole and in its order, but for the batches that were
/// lost as documented: by a write that failed, and all after an open that failed.
void judgeLines(Trial &trial)
{
    QStringList expected = expectedLines();
    QStringList logged = loggedLines(trial);
    // The line that wakes the writer for its end is written only if it slept.
    if (!logged.isEmpty() && logged.constLast() == "[Zemix]end of log")
        logged.removeLast();
    const bool losesFile =
        trial.isDisturbedIn(Thread) || (trial.isDisturbedIn(Open) && trial.error() != EINTR);
    if (logged == expected)
        return;
    trial.require(trial.losesBytes() || losesFile, "lines are missing: " + logged.join(" / "));
    expected.append("[Zemix]end of log");
    bool isTorn = false;
    for (const QString &line : std::as_const(logged)) {
        while (!expected.isEmpty() && expected.constFirst() != line
               && !(!isTorn && expected.constFirst().startsWith(line)))
            expected.removeFirst();
        trial.require(!expected.isEmpty(), "torn or out of order: " + line);
        if (expected.isEmpty())
            return;
        isTorn = isTorn || expected.constFirst() != line;
        trial.require(!isTorn || trial.losesBytes(), "torn: " + line);
        expected.removeFirst();
    }
    if (losesFile && !trial.isDisturbedIn(Thread))
        trial.require(Trial::get(trial.directory() + "/console")
                          .contains("[error][run] Open log file failed["),
                      "nothing tells that the writer has ended");
}

void judgeConsole(Trial &trial)
{
    const QByteArray console = Trial::get(trial.directory() + "/console");
    for (int i = 0; i < 2 * batches; ++i)
        trial.require(
            console.contains((i % 2 == 0 ? "\x1b[33m" : "\x1b[0m") + text(i).toUtf8() + "\x1b[0m\n")
                || trial.losesBytes(),
            "not on the console: " + text(i));
}

Operation setUp()
{
    return {"ZeLog, set up", [](Trial & /*trial*/) {},
            [](Trial &trial) {
                createLog(trial);
                s_log.reset();
            },
            [](Trial &trial) {
                const QString path = trial.path("log");
                if (trial.hasLineWith("D [debug][ZeLog] dir.mkpath success: " + path))
                    trial.require(trial.after().value(path) == "directory", "no directory");
                else
                    trial.requireFailure({"W [warning][ZeLog] dir.mkpath failed: " + path});
            },
            [](Trial & /*trial*/) {
                ZeFileManager::init();
                PublicClass::init();
            }};
}

Operation logging()
{
    Operation operation{"ZeLog, logging",
                        [](Trial & /*trial*/) {},
                        [](Trial & /*trial*/) { logAndStop(); },
                        [](Trial &trial) {
                            judgeLines(trial);
                            judgeConsole(trial);
                        },
                        createLog,
                        releaseLog};
    operation.allThreads = true;
    operation.waits = true;
    return operation;
}

void putManyLogs(Trial &trial)
{
    QDir().mkpath(trial.path("log"));
    for (int i = 0; i < 55; ++i) {
        const QString path = trial.path("log/ZemixPro_2001-01-01_00-00-")
            + QString::number(i).rightJustified(2, '0') + ".log";
        const int file = ::open(QFile::encodeName(path).constData(), O_CREAT | O_WRONLY, 0600);
        const struct timespec times[2] = {{1000000 + i, 0}, {1000000 + i, 0}};
        ::futimens(file, times);
        ::close(file);
    }
}

Operation changeOfFile()
{
    Operation operation{
        "ZeLog, change of file",
        [](Trial &trial) {
            putManyLogs(trial);
            QFile file(trial.path("log/ZemixPro_2001-01-02_00-00-00.log"));
            if (!file.open(QIODevice::WriteOnly) || !file.resize(10485761))
                qFatal("cannot make a large file");
        },
        [](Trial & /*trial*/) { logAndStop(); },
        [](Trial &trial) {
            const QStringList logged = loggedLines(trial);
            // The first batch goes with the old file, deliberately.
            if (!logged.contains("[Zemix]" + text(2)))
                trial.requireReason();
            if (!trial.isDisturbed()) {
                trial.require(!logged.contains("[Zemix]" + text(0)), "the batch is not dropped");
                const int files = QDir(trial.path("log")).entryList(QDir::Files).size();
                trial.require(files == 51, QString::number(files) + " files are left");
            }
            trial.require(
                trial.after().contains(trial.path("log/ZemixPro_2001-01-01_00-00-54.log")),
                "a new file is removed");
        },
        [](Trial &trial) {
            createLog(trial);
            ZeLog::s_LogName = "ZemixPro_2001-01-02_00-00-00.log";
        },
        releaseLog};
    operation.allThreads = true;
    operation.waits = true;
    return operation;
}

Operation removeLogs()
{
    return {"removeLogs",
            putManyLogs,
            [](Trial & /*trial*/) { s_log->removeLogs(); },
            [](Trial &trial) {
                const QStringList names = QDir(trial.path("log")).entryList(QDir::Files);
                trial.require(names.size() == 50 || trial.isDisturbed(), "too many are left");
                trial.require(names.size() >= 50, "too few are left");
                trial.require(names.contains("ZemixPro_2001-01-01_00-00-54.log"),
                              "a new file is removed");
            },
            createLog,
            releaseLog};
}

} // namespace

Operations logOperations()
{
    return {setUp(), logging(), changeOfFile(), removeLogs()};
}

} // namespace Faults
