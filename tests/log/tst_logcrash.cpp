// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Flood.h"
#include "support/Child.h"
#include "support/LogTally.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <algorithm>
#include <numeric>
#include <random>

#include <unistd.h>

using TestSupport::LogTally;

namespace {

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr int usualKills = 6;
#else
constexpr int usualKills = 20;
#endif

constexpr int oldLogs = 60;
constexpr int keptLogs = 50;

/// ZECORE_TEST_KILLS says how many, ZECORE_TEST_SEED repeats those of an earlier run.
int numberFrom(const char *variable, int otherwise)
{
    bool isNumber = false;
    const int number = qEnvironmentVariableIntValue(variable, &isNumber);
    return isNumber ? number : otherwise;
}

QString oldLogName(int index)
{
    return QStringLiteral("old_%1.log").arg(index, 2, 10, QLatin1Char('0'));
}

/// A file of @p size bytes that ends in a line feed.
bool makeFile(const QString &path, qint64 size)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.seek(size - 1) && file.write("\n") == 1;
}

/// Log files of earlier days, "old_00.log" being the oldest.
bool makeOldLogs(const QString &directory)
{
    for (int i = 0; i < oldLogs; ++i) {
        QFile file(directory + QLatin1Char('/') + oldLogName(i));
        if (!file.open(QIODevice::WriteOnly)
            || !file.setFileTime(QDateTime::fromMSecsSinceEpoch(1000000000000 + i * qint64(1000)),
                                 QFileDevice::FileModificationTime))
            return false;
    }
    return true;
}

constexpr int whenItShows = -1; ///< instead of a number of microseconds

FloodProgress progressIn(const QString &path)
{
    FloodProgress progress{};
    QFile file(path);
    if (file.open(QIODevice::ReadOnly))
        file.read(reinterpret_cast<char *>(progress.data()), sizeof progress);
    return progress;
}

/// Whether the writer is done with lines of each thread, and in its second file.
bool showsEverything(const QString &progressFile, const QString &logs)
{
    const FloodProgress progress = progressIn(progressFile);
    return *std::min_element(progress.begin(), progress.end()) > 0
        && QDir(logs).entryList({"ZemixPro_*.log"}, QDir::Files).size() > 1;
}

} // namespace

/// A program that is killed while it logs leaves whole lines behind, and all of those
/// that its writer was done with.
class tst_LogCrash : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void killedInAFlood_data();
    void killedInAFlood();
    void cleanupTestCase();

private:
    qint64 m_finished = 0;
    qint64 m_written = 0;
    qint64 m_dropped = 0;
    int m_filesAfterTheFirst = 0;
    int m_tornLines = 0;
    int m_killedWhilePruning = 0;
};

void tst_LogCrash::killedInAFlood_data()
{
    QTest::addColumn<int>("afterUs");
    QTest::addColumn<bool>("nearTheLimit");
    const auto seed =
        static_cast<unsigned>(numberFrom("ZECORE_TEST_SEED", int(std::random_device()() >> 1)));
    const int kills = numberFrom("ZECORE_TEST_KILLS", usualKills);
    qInfo("ZECORE_TEST_SEED=%u ZECORE_TEST_KILLS=%d", seed, kills);
    std::mt19937 random(seed);
    // However slow the machine is.
    QTest::addRow("when it shows") << whenItShows << true;
    for (int i = 0; i < kills; ++i) {
        // Every fourth is over before much has begun.
        const unsigned limitUs = i % 4 == 0 ? 10000 : 200000;
        const auto afterUs = static_cast<int>(random() % limitUs);
        // Every other changes its file soon.
        QTest::addRow("%d: after %d us", i, afterUs) << afterUs << (i % 2 == 1);
    }
}

void tst_LogCrash::killedInAFlood()
{
    QFETCH(int, afterUs);
    QFETCH(bool, nearTheLimit);
    const QTemporaryDir dir;
    const QString logs = dir.path() + QStringLiteral("/log");
    const QString progressFile = dir.path() + QStringLiteral("/progress");
    QVERIFY(QDir().mkdir(logs));
    QVERIFY(makeOldLogs(logs));
    QVERIFY(makeFile(progressFile, 1) && QFile::resize(progressFile, 0)
            && QFile::resize(progressFile, sizeof(FloodProgress))); // all 0

    QStringList arguments{"endless", logs, progressFile};
    LogTally tally(logs, floodThreads, floodPadding);
    const QString firstName = QStringLiteral("ZemixPro_2001-01-01_00-00-00.log");
    const qint64 firstSize = LogTally::sizeLimit - 200000;
    if (nearTheLimit) {
        QVERIFY(makeFile(logs + '/' + firstName, firstSize));
        tally.skip(firstName, firstSize);
        arguments << firstName;
    }

    QProcess child;
    child.setStandardErrorFile(QProcess::nullDevice());
    child.start(TestSupport::helperPath("flood_child"), arguments);
    QVERIFY(child.waitForReadyRead(30000));
    if (afterUs == whenItShows)
        QTRY_VERIFY_WITH_TIMEOUT(showsEverything(progressFile, logs), 10000);
    else
        ::usleep(static_cast<useconds_t>(afterUs));
    child.kill();
    QVERIFY(child.waitForFinished(30000));
    QCOMPARE(child.exitStatus(), QProcess::CrashExit);

    tally.readToTheEnd();
    QCOMPARE(tally.fault(), QString());
    const FloodProgress finished = progressIn(progressFile);
    m_finished += std::accumulate(finished.begin(), finished.end(), qint64(0));
    for (int thread = 0; thread < floodThreads; ++thread)
        QVERIFY2(tally.reached(thread) >= finished[std::size_t(thread)]
                     || tally.mayMissTheEnd(thread),
                 qPrintable(QStringLiteral("thread %1: %2 lines of %3 finished ones")
                                .arg(thread)
                                .arg(tally.reached(thread))
                                .arg(finished[std::size_t(thread)])));

    // Pruning takes the oldest first and never one that has to stay.
    const QStringList left = QDir(logs).entryList({"old_*.log"}, QDir::Files, QDir::Name);
    for (int i = 0; i < left.size(); ++i)
        QCOMPARE(left.at(i), oldLogName(oldLogs - left.size() + i));
    QVERIFY(left.size() >= keptLogs - tally.files());

    m_written += tally.written();
    m_dropped += tally.dropped();
    m_filesAfterTheFirst += std::max(0, tally.files() - 1);
    m_tornLines += tally.wasTorn() ? 1 : 0;
    m_killedWhilePruning += left.size() > keptLogs && left.size() < oldLogs ? 1 : 0;
}

void tst_LogCrash::cleanupTestCase()
{
    qInfo("lines on disk %lld, finished %lld, dropped at a change of file %lld, "
          "changes of file %d, torn last lines %d, killed while pruning %d",
          m_written, m_finished, m_dropped, m_filesAfterTheFirst, m_tornLines,
          m_killedWhilePruning);
    // Otherwise the kills came too early to show anything.
    QVERIFY(m_written > 0);
    QVERIFY(m_finished > 0);
    QVERIFY(m_filesAfterTheFirst > 0);
}

QTEST_GUILESS_MAIN(tst_LogCrash)
#include "tst_logcrash.moc"
