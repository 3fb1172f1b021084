// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "core/Sync_p.h"
#include "files/ZeFileManager.h"
#include "log/ZeLog.h"
#include "support/Capture.h"
#include "support/Child.h"
#include "support/StderrTo.h"
#include "support/TestClock.h"
#include "support/Unprivileged.h"
#include "util/PublicClass.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <ctime>
#include <memory>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using TestSupport::Capture;
using TestSupport::StderrCapture;

namespace {

constexpr qint64 sizeLimit = 10485760;

const QDateTime morning(QDate(2026, 1, 15), QTime(8, 30, 12, 45), Qt::UTC);
const QString morningName = QStringLiteral("ZemixPro_2026-01-15_08-30-12.log");

void logText(const QString &text)
{
    ZeLog::outputMessage(QtDebugMsg, QMessageLogContext(), text);
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot be opened");
}

/// The messages of a log file, without their stamps.
QStringList messagesIn(const QString &path)
{
    QStringList messages;
    const QList<QByteArray> lines = contentOf(path).split('\n');
    for (const QByteArray &line : lines)
        messages.append(QString::fromUtf8(line.mid(26)));
    messages.removeLast(); // after the last line feed
    return messages;
}

void makeFile(const QString &path, qint64 size = 0, qint64 modifiedMs = -1)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.resize(size));
    if (modifiedMs >= 0)
        QVERIFY(file.setFileTime(QDateTime::fromMSecsSinceEpoch(modifiedMs),
                                 QFileDevice::FileModificationTime));
}

/// @p count old log files, "old_000.log" being the oldest.
void makeOldLogs(const QString &directory, int count)
{
    for (int i = 0; i < count; ++i)
        makeFile(QStringLiteral("%1/old_%2.log").arg(directory).arg(i, 3, 10, QLatin1Char('0')), 1,
                 1000000000000 + i * qint64(1000));
}

/// The calls of write(2) that this process has made; 0 if the kernel does not count them.
qint64 writeCalls()
{
    const QList<QByteArray> lines = contentOf(QStringLiteral("/proc/self/io")).split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("syscw: "))
            return line.mid(7).toLongLong();
    }
    return 0;
}

/// The processor time that this process has taken.
qint64 processorTimeMs()
{
    return qint64(std::clock()) * 1000 / CLOCKS_PER_SEC;
}

bool joined(ZeLog &log)
{
    if (!log.wait(20000))
        return false;
    ZeCore::threadJoined(&log);
    return true;
}

/// A running writer that is always brought down cleanly.
class RunningLog
{
public:
    RunningLog() { m_log.start(); }
    ~RunningLog() { stop(); }
    Q_DISABLE_COPY(RunningLog)

    ZeLog &log() { return m_log; }

    /// Queues @p text and waits until the writer has taken it and waits again.
    void write(const QString &text)
    {
        logText(text);
        settle();
    }

    void settle()
    {
        QTRY_VERIFY(isQueueEmpty());
        // The batch is on disk once the writer comes back and takes another permit;
        // taking a second one, it has looked at the queue in between, and the lock
        // orders what it did before what the test reads.
        for (int i = 0; i < 2; ++i) {
            ZeCore::releasePermit(ZeLog::_synSem);
            QTRY_COMPARE(ZeLog::_synSem.available(), 0);
        }
        QVERIFY(isQueueEmpty());
    }

    /// Asks for the end and wakes the writer.
    void stop()
    {
        if (!m_log.isRunning())
            return;
        m_log.setNeedStop(true);
        ZeLog::setWriteLogToFile(true);
        ZeCore::releasePermit(ZeLog::_synSem);
        QVERIFY(joined(m_log));
    }

    static bool isQueueEmpty()
    {
        const ZeCore::MutexLock lock(ZeLog::_mutex);
        return ZeLog::_stringList.isEmpty();
    }

private:
    ZeLog m_log;
};

} // namespace

class tst_ZeLog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void constructorMakesDirectory();
    void constructorFindsDirectory();
    void constructorCannotMakeDirectory();
    void constructorWithoutDirectory();
    void constructorWithRelativeDirectory();
    void firstLineCreatesFile();
    void fileIsNamedByTheClockOfTheLines();
    void batchesAreAppended();
    void textOfTheFile_data();
    void textOfTheFile();
    void linesOfAllLengths();
    void copyOfTheQueueStaysAsItIs();
    void hugeBatch();
    void secondWriterGoesOnInTheSameFile();
    void fileOfExactlyTheLimit();
    void fileBeyondTheLimit();
    void changeOfFileWithinOneSecond();
    void filesOfOneSecondAreOneFile();
    void idleWhileNotWriting();
    void prunesAtStartEvenIfNotWriting();
    void leftoverPermits();
    void permitsOfMonths();
    void stopWaitsForALine();
    void stopThreadOnIdleWriter();
    void queuedLinesStayAfterStop();
    void cannotOpenFile_data();
    void cannotOpenFile();
    void withoutAnApplication();
    void cannotOpenForLackOfRights();
    void fullDisk();
    void removeLogsKeepsFifty();
    void removeLogsWithoutDirectory();
    void destructorSilencesTheHandler();
    void floodOfFourThreads();

private:
    QString fileName(const QString &name) const { return m_logDir + QLatin1Char('/') + name; }
    QStringList logFiles() const { return QDir(m_logDir).entryList({"*.log"}, QDir::Files); }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<StderrCapture> m_console;
    QString m_logDir;
    QString m_startDir = QDir::currentPath();
};

void tst_ZeLog::init()
{
    qputenv("TZ", "UTC");
    tzset();
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_logDir = m_dir->path() + QStringLiteral("/appInfo/log");
    m_console = std::make_unique<StderrCapture>();
    PublicClass::init()->logDir = m_logDir;
    ZeLog::_isRelease = false;
    ZeLog::_isWriteLogToFile = true;
    ZeLog::s_LogName.clear();
    ZeLog::_stringList.clear();
    while (ZeLog::_synSem.tryAcquire()) { }
}

void tst_ZeLog::cleanup()
{
    TestClock::reset();
    QDir::setCurrent(m_startDir);
    m_console.reset();
    m_dir.reset();
}

void tst_ZeLog::constructorMakesDirectory()
{
    Capture capture;
    {
        ZeLog log;
        QVERIFY(QFileInfo(m_logDir).isDir());
        QVERIFY(!log.isRunning());
        QVERIFY(!ZeFileManager::instance.isNull()); // the pruning is its operation
    }
    QCOMPARE(capture.lines(), QStringList{"D [debug][ZeLog] dir.mkpath success: " + m_logDir});
    QVERIFY(logFiles().isEmpty());
}

void tst_ZeLog::constructorFindsDirectory()
{
    QVERIFY(QDir().mkpath(m_logDir));
    Capture capture;
    ZeLog log;
    QCOMPARE(capture.lines(), QStringList{"D [debug][ZeLog] dir.mkpath success: " + m_logDir});
}

void tst_ZeLog::constructorCannotMakeDirectory()
{
    makeFile(m_dir->filePath("appInfo"));
    Capture capture;
    {
        ZeLog log;
        QCOMPARE(capture.take(), QStringList{"W [warning][ZeLog] dir.mkpath failed: " + m_logDir});
        // It is usable; the failure shows again when a file is to be opened.
        logText("line");
        log.start();
        QVERIFY(joined(log));
    }
    QCOMPARE(capture.lines().size(), 1);
    QVERIFY(
        capture.lines().constFirst().startsWith("C [error][run] Open log file failed[" + m_logDir));
    QVERIFY(capture.lines().constFirst().endsWith("]:Not a directory"));
}

void tst_ZeLog::constructorWithoutDirectory()
{
    PublicClass::init()->logDir.clear();
    Capture capture;
    ZeLog log;
    QCOMPARE(capture.lines(), QStringList{"W [warning][ZeLog] dir.mkpath failed: "});
}

void tst_ZeLog::constructorWithRelativeDirectory()
{
    QVERIFY(QDir::setCurrent(m_dir->path()));
    PublicClass::init()->logDir = "some/log";
    Capture capture;
    ZeLog log;
    QVERIFY(QFileInfo(m_dir->filePath("some/log")).isDir());
    QCOMPARE(capture.lines(), QStringList{"D [debug][ZeLog] dir.mkpath success: some/log"});
}

void tst_ZeLog::firstLineCreatesFile()
{
    const TestClock::Stopped clock(morning);
    RunningLog running;
    QVERIFY(logFiles().isEmpty());
    QVERIFY(ZeLog::s_LogName.isEmpty());
    running.write("开始");
    QCOMPARE(ZeLog::s_LogName, morningName);
    QCOMPARE(logFiles(), QStringList{morningName});
    QCOMPARE(contentOf(fileName(morningName)), QByteArray("[260115 083012.045][Zemix]开始\n"));
}

void tst_ZeLog::fileIsNamedByTheClockOfTheLines()
{
    // At the turn of the second, where time(2) still shows the one before.
    const TestClock::Stopped clock(QDateTime(QDate(2026, 1, 15), QTime(8, 30, 13), Qt::UTC));
    RunningLog running;
    running.write("line");
    QCOMPARE(logFiles(), QStringList{"ZemixPro_2026-01-15_08-30-13.log"});
}

void tst_ZeLog::batchesAreAppended()
{
    {
        const TestClock::Stopped clock(morning);
        RunningLog running;
        running.write("1");
        TestClock::set(morning.addDays(2)); // no daily change of file
        running.write("2");
        running.write("3");
    }
    QCOMPARE(logFiles(), QStringList{morningName});
    QCOMPARE(messagesIn(fileName(morningName)), (QStringList{"1", "2", "3"}));
}

void tst_ZeLog::textOfTheFile_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("empty") << "" << QByteArray("");
    QTest::newRow("NUL") << QString::fromLatin1("a\0b", 3) << QByteArray("a\0b", 3);
    QTest::newRow("line feed inside") << "a\nb" << QByteArray("a\nb");
    QTest::newRow("carriage return") << "a\r" << QByteArray("a\r");
    QTest::newRow("mark") << "%1 %2" << QByteArray("%1 %2");
    QTest::newRow("beyond the basic plane") << QStringLiteral("🤖") << QByteArray("🤖");
    QTest::newRow("high surrogate at the end") << "a" + QString(QChar(0xD83E)) << QByteArray("a?");
    QTest::newRow("low surrogate") << QString(QChar(0xDD16)) << QByteArray("?");
    QTest::newRow("byte order mark") << QString(QChar(0xFEFF)) << QByteArray("\xEF\xBB\xBF");
    QTest::newRow("16 MiB") << QString(16 * 1024 * 1024, 'x') << QByteArray(16 * 1024 * 1024, 'x');
}

void tst_ZeLog::textOfTheFile()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, bytes);
    const TestClock::Stopped clock(morning);
    const QByteArray stamp("[260115 083012.045][Zemix]");
    RunningLog running;
    running.write("first");
    running.write(text);
    QCOMPARE(contentOf(fileName(morningName)), stamp + "first\n" + stamp + bytes + "\n");
}

void tst_ZeLog::linesOfAllLengths()
{
    // Lines are built in the memory of earlier ones, longer or shorter.
    const TestClock::Stopped clock(morning);
    QStringList texts;
    for (int round = 0; round < 3; ++round) {
        for (int length = 0; length < 600; length += 7 + round)
            texts.append(QString(length % 2 == 0 ? length : 600 - length, QChar('a' + round)));
    }
    RunningLog running;
    for (int i = 0; i < texts.size(); ++i) {
        logText(texts.at(i));
        if (i % 50 == 0)
            running.settle();
    }
    running.settle();
    QCOMPARE(messagesIn(fileName(morningName)), texts);
}

void tst_ZeLog::copyOfTheQueueStaysAsItIs()
{
    const TestClock::Stopped clock(morning);
    logText("first line of the copy");
    logText("second line of the copy");
    const QStringList copy = ZeLog::_stringList;
    const QString line = copy.at(1);
    RunningLog running;
    running.settle();
    for (int i = 0; i < 5; ++i)
        running.write("another line that comes later");
    QCOMPARE(copy,
             (QStringList{"[260115 083012.045][Zemix]first line of the copy",
                          "[260115 083012.045][Zemix]second line of the copy"}));
    QCOMPARE(line, copy.at(1));
}

void tst_ZeLog::hugeBatch()
{
    // One batch of 6 million characters is cut into several writes, so that no copy of
    // all of it is ever made; no line may suffer.
    QByteArray expected;
    ZeLog log;
    const TestClock::Stopped clock(morning);
    for (int i = 0; i < 30000; ++i) {
        const QString text = QString::number(i) + QString(i % 400, QChar(0x4E00 + i % 100));
        {
            const ZeCore::MutexLock lock(ZeLog::_mutex);
            ZeLog::_stringList.append(text);
        }
        expected += text.toUtf8() + '\n';
    }
    const qint64 writesBefore = writeCalls();
    log.start();
    ZeCore::releasePermit(ZeLog::_synSem);
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(fileName(morningName)).size() == expected.size(), 20000);
    if (writesBefore > 0)
        QVERIFY(writeCalls() - writesBefore >= 10);
    log.setNeedStop(true);
    ZeCore::releasePermit(ZeLog::_synSem);
    QVERIFY(joined(log));
    QCOMPARE(contentOf(fileName(morningName)), expected);
}

void tst_ZeLog::secondWriterGoesOnInTheSameFile()
{
    TestClock::set(morning);
    {
        RunningLog running;
        running.write("from the first");
    }
    ZeLog::_isRelease = false; // the destructor has silenced the handler
    TestClock::set(morning.addSecs(60));
    {
        RunningLog running;
        running.write("from the second");
    }
    QCOMPARE(logFiles(), QStringList{morningName});
    QCOMPARE(messagesIn(fileName(morningName)), (QStringList{"from the first", "from the second"}));
}

void tst_ZeLog::fileOfExactlyTheLimit()
{
    const TestClock::Stopped clock(morning);
    RunningLog running;
    makeFile(fileName("full.log"), sizeLimit);
    ZeLog::s_LogName = "full.log";
    running.write("still fits");
    QCOMPARE(ZeLog::s_LogName, QStringLiteral("full.log"));
    QCOMPARE(contentOf(fileName("full.log")).mid(int(sizeLimit)),
             QByteArray("[260115 083012.045][Zemix]still fits\n"));
}

void tst_ZeLog::fileBeyondTheLimit()
{
    const TestClock::Stopped clock(morning);
    RunningLog running;
    running.write("begin");
    running.settle();
    makeOldLogs(m_logDir, 60);
    QVERIFY(QDir::setCurrent(m_dir->path()));
    QVERIFY(QFile(fileName(morningName)).resize(sizeLimit + 1));
    TestClock::set(morning.addSecs(30));
    const QString newName = QStringLiteral("ZemixPro_2026-01-15_08-30-42.log");

    running.write("lost"); // with the change of file
    QCOMPARE(ZeLog::s_LogName, newName);
    QVERIFY(!QFileInfo::exists(fileName(newName)));
    QCOMPARE(QFileInfo(fileName(morningName)).size(), sizeLimit + 1);
    QCOMPARE(logFiles().size(), 50);
    QVERIFY(QFileInfo::exists(fileName(morningName))); // the newest of them
    QVERIFY(!QFileInfo::exists(fileName("old_010.log")));
    QVERIFY(QFileInfo::exists(fileName("old_011.log")));
    QCOMPARE(QDir::currentPath(), QCoreApplication::applicationDirPath());

    running.write("kept");
    QCOMPARE(messagesIn(fileName(newName)), QStringList{"kept"});
}

void tst_ZeLog::changeOfFileWithinOneSecond()
{
    const TestClock::Stopped clock(morning);
    RunningLog running;
    running.write("begin");
    QVERIFY(QFile(fileName(morningName)).resize(sizeLimit + 1));
    // The new name is the old one, so every batch of this second is lost.
    running.write("lost");
    running.write("lost too");
    QCOMPARE(ZeLog::s_LogName, morningName);
    QCOMPARE(QFileInfo(fileName(morningName)).size(), sizeLimit + 1);
    TestClock::set(morning.addSecs(1));
    running.write("lost with the change of file");
    running.write("kept");
    QCOMPARE(messagesIn(fileName("ZemixPro_2026-01-15_08-30-13.log")), QStringList{"kept"});
}

void tst_ZeLog::filesOfOneSecondAreOneFile()
{
    const TestClock::Stopped clock(morning);
    RunningLog running;
    running.write("a");
    makeFile(fileName("other.log"), sizeLimit + 1);
    ZeLog::s_LogName = "other.log";
    running.write("lost");
    QCOMPARE(ZeLog::s_LogName, morningName);
    running.write("b");
    QCOMPARE(messagesIn(fileName(morningName)), (QStringList{"a", "b"}));
}

void tst_ZeLog::idleWhileNotWriting()
{
    ZeLog::setWriteLogToFile(false);
    RunningLog running;
    {
        const ZeCore::MutexLock lock(ZeLog::_mutex);
        ZeLog::_stringList.append("queued before");
    }
    ZeCore::releasePermit(ZeLog::_synSem);
    logText("gated"); // neither queued nor counted
    const qint64 before = processorTimeMs();
    QTest::qWait(500);
    QVERIFY(processorTimeMs() - before < 250); // the writer looks now and then
    QCOMPARE(ZeLog::_synSem.available(), 1);
    QVERIFY(!RunningLog::isQueueEmpty());
    QVERIFY(logFiles().isEmpty());
    ZeLog::setWriteLogToFile(true);
    running.settle();
    running.stop();
    QCOMPARE(contentOf(fileName(ZeLog::s_LogName)).left(14), QByteArray("queued before\n"));
}

void tst_ZeLog::prunesAtStartEvenIfNotWriting()
{
    QVERIFY(QDir().mkpath(m_logDir));
    makeOldLogs(m_logDir, 55);
    ZeLog::setWriteLogToFile(false);
    RunningLog running;
    QTRY_COMPARE(logFiles().size(), 50);
    QCOMPARE(logFiles().constFirst(), QStringLiteral("old_005.log"));
}

void tst_ZeLog::leftoverPermits()
{
    // More permits than batches: each costs a look at an empty queue.
    RunningLog running;
    for (int i = 0; i < 5; ++i)
        ZeCore::releasePermit(ZeLog::_synSem);
    QTRY_COMPARE(ZeLog::_synSem.available(), 0);
    running.write("goes on");
    QCOMPARE(messagesIn(fileName(ZeLog::s_LogName)), QStringList{"goes on"});
}

void tst_ZeLog::permitsOfMonths()
{
    // They pile up where many lines are one batch. Beyond 2^31 the count of the
    // semaphore would be negative, and the writer would wait for ever.
    constexpr int many = 1 << 30;
    RunningLog running;
    for (int i = 0; i < 3; ++i) {
        ZeLog::_synSem.release(many);
        logText(QString::number(i));
        QTRY_VERIFY(RunningLog::isQueueEmpty());
        QTRY_VERIFY(ZeLog::_synSem.available() < many);
    }
    running.stop();
    QCOMPARE(messagesIn(fileName(ZeLog::s_LogName)), QStringList({"0", "1", "2"}));
    QVERIFY(ZeLog::_synSem.tryAcquire(ZeLog::_synSem.available()));
}

void tst_ZeLog::stopWaitsForALine()
{
    ZeLog log;
    log.start();
    logText("first");
    QTRY_VERIFY(RunningLog::isQueueEmpty());
    QTRY_COMPARE(ZeLog::_synSem.available(), 0);
    QTest::qWait(200);
    log.setNeedStop(true);
    log.quit();
    QVERIFY(!log.wait(150)); // it waits for a permit
    logText("wakes it");
    QVERIFY(joined(log));
    QCOMPARE(messagesIn(fileName(ZeLog::s_LogName)), (QStringList{"first", "wakes it"}));
}

void tst_ZeLog::stopThreadOnIdleWriter()
{
    ZeLog::setWriteLogToFile(false);
    ZeLog log;
    log.start();
    log.stopThread();
    QVERIFY(log.isFinished());
    QVERIFY(log.isNeedStop());
}

void tst_ZeLog::queuedLinesStayAfterStop()
{
    ZeLog log;
    log.setNeedStop(true);
    log.start();
    QVERIFY(joined(log));
    logText("nobody writes it");
    QVERIFY(!RunningLog::isQueueEmpty());
    QCOMPARE(ZeLog::_synSem.available(), 1);
    QVERIFY(logFiles().isEmpty());
}

void tst_ZeLog::cannotOpenFile_data()
{
    QTest::addColumn<QString>("setUp");
    QTest::addColumn<QString>("reason");
    QTest::newRow("directory in its place") << "directory"
                                            << "Is a directory";
    QTest::newRow("log directory gone") << "gone"
                                        << "No such file or directory";
    QTest::newRow("name too long") << "long"
                                   << "File name too long";
    QTest::newRow("name that would end early") << "NUL"
                                               << "Invalid argument";
}

void tst_ZeLog::cannotOpenFile()
{
    QFETCH(QString, setUp);
    QFETCH(QString, reason);
    const TestClock::Stopped clock(morning);
    ZeLog log;
    QString name = morningName;
    if (setUp == "directory") {
        QVERIFY(QDir(m_logDir).mkdir(name));
    } else if (setUp == "gone") {
        QVERIFY(QDir(m_logDir).removeRecursively());
    } else {
        name = setUp == "NUL" ? QString::fromLatin1("a\0b", 3) : QString(300, 'n');
        ZeLog::s_LogName = name;
        QFile another(m_logDir + "/a"); // too big to be written to
        QVERIFY(another.open(QIODevice::WriteOnly) && another.resize(qint64(11) * 1024 * 1024));
    }
    const int inputFlags = ::fcntl(STDIN_FILENO, F_GETFD);
    const QtMessageHandler previous = qInstallMessageHandler(ZeLog::outputMessage);
    log.start();
    logText("dropped with its batch");
    const bool ended = joined(log); // the thread ends for good
    qInstallMessageHandler(previous);
    QVERIFY(ended);
    QVERIFY(!log.isNeedStop());
    QCOMPARE(::fcntl(STDIN_FILENO, F_GETFD), inputFlags); // only what was opened is closed
    logText("piles up");
    QCOMPARE(ZeLog::_stringList,
             (QStringList{"[260115 083012.045][Zemix][error][run] Open log file failed["
                              + fileName(name) + "]:" + reason,
                          "[260115 083012.045][Zemix]piles up"}));
}

/// There is no directory to go to after pruning, so the current one stays.
void tst_ZeLog::withoutAnApplication()
{
    QVERIFY(QDir().mkpath(m_logDir));
    for (int i = 0; i < 60; ++i)
        makeFile(fileName(QString("old%1.log").arg(i, 2, 10, QChar('0'))));
    const QTemporaryDir elsewhere;
    TestSupport::ChildOptions options;
    options.workingDirectory = elsewhere.path();
    const TestSupport::ChildResult child =
        TestSupport::runChild(TestSupport::helperPath("bare_child"), {m_logDir}, options);
    QVERIFY2(child.endedWith(0), child.report());
    const QByteArray directory = QFileInfo(elsewhere.path()).canonicalFilePath().toUtf8() + '\n';
    QCOMPARE(child.out, directory + directory);
    QCOMPARE(QDir(m_logDir).entryList({"old*.log"}).size(), 50);
    const QStringList written = QDir(m_logDir).entryList({"ZemixPro_*.log"});
    QCOMPARE(written.size(), 1);
    QVERIFY(contentOf(fileName(written.first())).contains("[Zemix]bare\n"));
}

void tst_ZeLog::cannotOpenForLackOfRights()
{
    ZeLog log;
    QVERIFY(QFile::setPermissions(m_logDir,
                                  QFileDevice::ReadOwner | QFileDevice::ExeOwner
                                      | QFileDevice::ReadOther | QFileDevice::ExeOther));
    QVERIFY(QFile::setPermissions(m_dir->path(), QFileDevice::Permissions(0x7755)));
    Capture capture;
    {
        const TestSupport::Unprivileged user;
        log.start();
        logText("line");
        QVERIFY(joined(log));
    }
    QCOMPARE(capture.lines(),
             QStringList{"C [error][run] Open log file failed[" + fileName(ZeLog::s_LogName)
                         + "]:Permission denied"});
}

void tst_ZeLog::fullDisk()
{
    RunningLog running;
    QVERIFY(QFile::link("/dev/full", fileName("full.log")));
    ZeLog::s_LogName = "full.log";
    Capture capture;
    running.write("lost");
    QVERIFY(running.log().isRunning()); // write errors are not examined
    QCOMPARE(capture.lines(), QStringList());
    ZeLog::s_LogName = "next.log";
    running.write("kept");
    QCOMPARE(messagesIn(fileName("next.log")), QStringList{"kept"});
}

void tst_ZeLog::removeLogsKeepsFifty()
{
    ZeLog log;
    makeOldLogs(m_logDir, 53);
    makeFile(fileName("UPPER.LOG"), 1, 1);
    makeFile(fileName(".hidden.log"), 1, 2);
    makeFile(fileName("other.txt"), 1, 1);
    QVERIFY(QDir(m_logDir).mkdir("directory.log"));
    QVERIFY(QDir::setCurrent(m_dir->path()));
    log.removeLogs();
    QCOMPARE(logFiles().size(), 50);
    QCOMPARE(logFiles().constFirst(), QStringLiteral("old_003.log"));
    QVERIFY(!QFileInfo::exists(fileName("UPPER.LOG")));
    QVERIFY(!QFileInfo::exists(fileName(".hidden.log")));
    QVERIFY(QFileInfo::exists(fileName("other.txt")));
    QVERIFY(QFileInfo::exists(fileName("directory.log")));
    QCOMPARE(QDir::currentPath(), QCoreApplication::applicationDirPath());
}

void tst_ZeLog::removeLogsWithoutDirectory()
{
    PublicClass::init()->logDir.clear();
    makeOldLogs(m_dir->path(), 60);
    QVERIFY(QDir::setCurrent(m_dir->path()));
    Capture capture;
    ZeLog log;
    log.removeLogs();
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files).size(), 60);
    QCOMPARE(QDir::currentPath(), QCoreApplication::applicationDirPath());
}

void tst_ZeLog::destructorSilencesTheHandler()
{
    {
        // A writer that idles is one that the destructor can end.
        ZeLog::setWriteLogToFile(false);
        ZeLog log;
        log.start();
    }
    QVERIFY(ZeLog::_isRelease);
    ZeLog::setWriteLogToFile(true);
    m_console->take();
    logText("silent");
    QVERIFY(RunningLog::isQueueEmpty());
    QCOMPARE(ZeLog::_synSem.available(), 0);
    QCOMPARE(m_console->take(), QByteArray());
}

void tst_ZeLog::floodOfFourThreads()
{
    constexpr int threadCount = 4;
    constexpr int linesPerThread = 5000;
    {
        RunningLog running;
        std::vector<std::thread> threads;
        for (int thread = 0; thread < threadCount; ++thread) {
            threads.emplace_back([thread] {
                for (int i = 0; i < linesPerThread; ++i)
                    logText(QStringLiteral("%1:%2").arg(thread).arg(i));
            });
        }
        for (std::thread &thread : threads)
            thread.join();
        // What is still queued at the stop is not written.
        QTRY_VERIFY(RunningLog::isQueueEmpty());
        QTRY_COMPARE(messagesIn(fileName(ZeLog::s_LogName)).size(), threadCount * linesPerThread);
    }
    const QStringList lines =
        messagesIn(fileName(ZeLog::s_LogName)).mid(0, threadCount * linesPerThread);
    QCOMPARE(lines.size(), threadCount * linesPerThread);
    std::vector<int> next(threadCount, 0);
    for (const QString &line : lines) {
        const QStringList parts = line.split(':');
        QCOMPARE(parts.at(1).toInt(), next[parts.at(0).toUInt()]++);
    }
}

QTEST_GUILESS_MAIN(tst_ZeLog)
#include "tst_zelog.moc"
