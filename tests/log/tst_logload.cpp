// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Flood.h"
#include "support/Child.h"
#include "support/LogTally.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <algorithm>
#include <vector>

using TestSupport::LogTally;

namespace {

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr bool isMemoryOurs = false; // the sanitizers keep what is freed, and more
constexpr qint64 usualLines = 24000;
#else
constexpr bool isMemoryOurs = true;
constexpr qint64 usualLines = 200000;
#endif

constexpr int keptLogs = 50;

/// What flood_child says along the way.
struct Sample
{
    qint64 lines;
    qint64 residentKib;
};

qint64 mostResident(const std::vector<Sample> &samples, qint64 from, qint64 to)
{
    qint64 most = 0;
    for (const Sample &sample : samples) {
        if (sample.lines >= from && sample.lines < to)
            most = std::max(most, sample.residentKib);
    }
    return most;
}

} // namespace

/// Many lines through changes of file and pruning: all are accounted for, and the
/// memory stays what it was.
class tst_LogLoad : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyLineIsAccountedFor();
};

void tst_LogLoad::everyLineIsAccountedFor()
{
    // ZECORE_TEST_LINES: how many. A small number gets long lines, for the same changes.
    bool isGiven = false;
    qint64 lines = qEnvironmentVariableIntValue("ZECORE_TEST_LINES", &isGiven);
    if (!isGiven)
        lines = usualLines;
    const int padding = lines < 1000000 ? static_cast<int>(16000000 / lines) : 10;

    const QTemporaryDir dir;
    QDir logs(dir.path());
    for (int i = 0; i < keptLogs; ++i) {
        QFile old(logs.filePath(QStringLiteral("old_%1.log").arg(i)));
        QVERIFY(old.open(QIODevice::WriteOnly)
                && old.setFileTime(QDateTime::fromMSecsSinceEpoch(1000000000000),
                                   QFileDevice::FileModificationTime));
    }
    QElapsedTimer clock;
    clock.start();
    QProcess child;
    child.setStandardErrorFile(QProcess::nullDevice());
    child.start(TestSupport::helperPath("flood_child"),
                {"paced", dir.path(), QString::number(lines), QString::number(padding)});
    LogTally tally(dir.path(), floodThreads, padding);
    std::vector<Sample> samples;
    while (child.state() != QProcess::NotRunning) {
        child.waitForReadyRead(500);
        while (child.canReadLine()) {
            const QList<QByteArray> words = child.readLine().trimmed().split(' ');
            samples.push_back({words.at(0).toLongLong(), words.value(1).toLongLong()});
        }
        tally.readFinishedFiles();
    }
    QCOMPARE(child.exitStatus(), QProcess::NormalExit);
    QCOMPARE(child.exitCode(), 0);
    tally.readToTheEnd();
    QCOMPARE(tally.fault(), QString());
    QVERIFY(!tally.wasTorn());

    const qint64 linesOfAThread = lines / floodThreads;
    qint64 missingAtTheEnd = 0;
    for (int thread = 0; thread < floodThreads; ++thread) {
        const qint64 missing = linesOfAThread - tally.reached(thread);
        QVERIFY(missing == 0 || (missing > 0 && tally.mayMissTheEnd(thread)));
        missingAtTheEnd += missing;
    }
    const qint64 dropped = tally.dropped() + missingAtTheEnd;
    QCOMPARE(tally.written() + dropped, linesOfAThread * floodThreads);
    QVERIFY(tally.files() > 1);
    // A change of file takes one batch with it, not more.
    QVERIFY(dropped < lines / 4);

    const int logCount = logs.entryList({"*.log"}, QDir::Files).size();
    QVERIFY(logCount <= keptLogs + 1); // pruned before the next one began
    QVERIFY(logs.entryList({"old_*.log"}, QDir::Files).size() < keptLogs);

    const qint64 early = mostResident(samples, lines / 20, lines / 2);
    const qint64 late = mostResident(samples, lines / 2, lines + 1);
    qInfo("%lld lines in %.1f s: %lld on disk, %lld dropped at %d changes of file, "
          "%d files left, resident %lld KiB in the first half, %lld KiB in the second",
          lines, double(clock.elapsed()) / 1000, tally.written(), dropped, tally.files() - 1,
          logCount, early, late);
    QVERIFY(early > 0);
    QVERIFY(late > 0);
    if (isMemoryOurs)
        QVERIFY2(late <= early + 2048, "memory grows with the lines");
}

QTEST_GUILESS_MAIN(tst_LogLoad)
#include "tst_logload.moc"
