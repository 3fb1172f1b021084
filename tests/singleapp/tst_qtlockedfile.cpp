// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "LiveChild.h"
#include "singleapp/QtLockedFile.h"
#include "support/Capture.h"

#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <atomic>
#include <chrono>
#include <csignal>
#include <memory>
#include <thread>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

using TestSupport::Capture;
using TestSupport::LiveChild;

namespace {

const QStringList notOpenedInLock{QStringLiteral("W QtLockedFile::lock(): file is not opened")};
const QStringList badDescriptor{
    QStringLiteral("W QtLockedFile::lock(): fcntl: Bad file descriptor")};

void ignoreSignal(int) { }

} // namespace

class tst_QtLockedFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void startsWithoutLock();
    void modesAreNumbered();
    void lockNeedsOpenFile();
    void unlockNeedsOpenFile();
    void lockOfNothingIsUnlock();
    void unlockWithoutLockLeavesTheFile();
    void unlockClosesAndDeletes();
    void lockAgainAfterReopening();
    void unlockOfAFileThatIsGone();
    void unlockOfAFileThatCannotBeRemoved();
    void unlockOfAFileWithoutName();
    void destructorDeletesLockedFile();
    void destructorLeavesUnlockedFile();
    void destructorOfClosedFileIsSilent();
    void sameModeAsksTheSystemOnce_data();
    void sameModeAsksTheSystemOnce();
    void changeOfMode_data();
    void changeOfMode();
    void changeOfModeRefused();
    void betweenProcesses_data();
    void betweenProcesses();
    void coversTheWholeFileAndBeyond();
    void blockingLockWaits();
    void blockingLockInterrupted();
    void deadlockIsReported();
    void lockFailureIsReported_data();
    void lockFailureIsReported();
    void unlockFailureIsReported();
    void lockIsFreedByTheDeathOfItsProcess();

private:
    QString write(const QByteArray &content = QByteArray()) const;
    QStringList lockArguments(const char *mode, const char *wait) const;

    QTemporaryDir m_dir;
    QString m_path;
};

void tst_QtLockedFile::initTestCase()
{
    QVERIFY(m_dir.isValid());
}

void tst_QtLockedFile::init()
{
    m_path = m_dir.filePath(QString::fromLatin1(QTest::currentTestFunction()) + QLatin1Char('-')
                            + QString::fromLatin1(QTest::currentDataTag()));
    write();
}

QString tst_QtLockedFile::write(const QByteArray &content) const
{
    QFile file(m_path);
    if (file.open(QIODevice::WriteOnly))
        file.write(content);
    return m_path;
}

QStringList tst_QtLockedFile::lockArguments(const char *mode, const char *wait) const
{
    return {m_path, QString::fromLatin1(mode), QString::fromLatin1(wait)};
}

void tst_QtLockedFile::startsWithoutLock()
{
    const QtLockedFile nameless;
    QVERIFY(nameless.fileName().isEmpty());
    QVERIFY(!nameless.isLocked());
    const QtLockedFile file(m_path);
    QCOMPARE(file.fileName(), m_path);
    QVERIFY(!file.isOpen());
    QVERIFY(!file.isLocked());
    QCOMPARE(file.lockMode(), QtLockedFile::NoLock);
}

void tst_QtLockedFile::modesAreNumbered()
{
    QCOMPARE(int(QtLockedFile::NoLock), 0);
    QCOMPARE(int(QtLockedFile::ReadLock), 1);
    QCOMPARE(int(QtLockedFile::WriteLock), 2);
}

void tst_QtLockedFile::lockNeedsOpenFile()
{
    Capture capture;
    QtLockedFile file(m_path);
    QVERIFY(!file.lock(QtLockedFile::ReadLock));
    QCOMPARE(capture.take(), notOpenedInLock);
    QVERIFY(!file.lock(QtLockedFile::WriteLock, false));
    QCOMPARE(capture.take(), notOpenedInLock);
    QVERIFY(!file.lock(QtLockedFile::NoLock)); // before it is taken for an unlock
    QCOMPARE(capture.take(), notOpenedInLock);
}

void tst_QtLockedFile::unlockNeedsOpenFile()
{
    Capture capture;
    QtLockedFile file(m_path);
    QVERIFY(!file.unlock());
    QCOMPARE(capture.take(),
             QStringList{QStringLiteral("W QtLockedFile::unlock(): file is not opened")});
    QVERIFY(QFileInfo::exists(m_path));
}

void tst_QtLockedFile::lockOfNothingIsUnlock()
{
    QtLockedFile file(m_path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.lock(QtLockedFile::WriteLock));
    QVERIFY(file.lock(QtLockedFile::NoLock));
    QVERIFY(!file.isLocked());
    QVERIFY(!file.isOpen());
    QVERIFY(!QFileInfo::exists(m_path));
}

void tst_QtLockedFile::unlockWithoutLockLeavesTheFile()
{
    Capture capture;
    QtLockedFile file(m_path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.unlock());
    QVERIFY(file.isOpen());
    QVERIFY(QFileInfo::exists(m_path));
    QCOMPARE(capture.take(), QStringList());
}

void tst_QtLockedFile::unlockClosesAndDeletes()
{
    Capture capture;
    QtLockedFile file(m_path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.lock(QtLockedFile::WriteLock));
    QVERIFY(file.isLocked());
    QCOMPARE(file.lockMode(), QtLockedFile::WriteLock);
    QVERIFY(QFileInfo::exists(m_path));
    QVERIFY(file.unlock());
    QVERIFY(!file.isLocked());
    QCOMPARE(file.lockMode(), QtLockedFile::NoLock);
    QVERIFY(!file.isOpen());
    QVERIFY(!QFileInfo::exists(m_path));
    QCOMPARE(capture.take(), QStringList());
}

void tst_QtLockedFile::lockAgainAfterReopening()
{
    QtLockedFile file(m_path);
    for (int round = 0; round < 3; ++round) {
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.lock(QtLockedFile::WriteLock));
        QVERIFY(file.unlock());
        QVERIFY(!QFileInfo::exists(m_path));
    }
}

void tst_QtLockedFile::unlockOfAFileThatIsGone()
{
    Capture capture;
    QtLockedFile file(m_path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.lock(QtLockedFile::WriteLock));
    QVERIFY(QFile::remove(m_path));
    QVERIFY(file.unlock());
    QVERIFY(!file.isLocked());
    QCOMPARE(capture.take(), QStringList());
}

void tst_QtLockedFile::unlockOfAFileThatCannotBeRemoved()
{
    QtLockedFile file(m_path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.lock(QtLockedFile::WriteLock));
    QVERIFY(QFile::remove(m_path));
    QVERIFY(QDir().mkdir(m_path)); // not a file any more: even root cannot remove it as one
    QVERIFY(file.unlock());
    QVERIFY(!file.isLocked());
    QVERIFY(QFileInfo(m_path).isDir());
}

void tst_QtLockedFile::unlockOfAFileWithoutName()
{
    Capture capture;
    const int descriptor = ::open(QFile::encodeName(m_path).constData(), O_RDWR | O_CLOEXEC);
    QVERIFY(descriptor >= 0);
    QtLockedFile file;
    QVERIFY(file.open(descriptor, QIODevice::ReadWrite, QFileDevice::AutoCloseHandle));
    QVERIFY(file.lock(QtLockedFile::ReadLock));
    QVERIFY(file.lock(QtLockedFile::WriteLock));
    QVERIFY(file.unlock());
    QVERIFY(!file.isOpen());
    QVERIFY(QFileInfo::exists(m_path));
    QCOMPARE(capture.take(), QStringList());
}

void tst_QtLockedFile::destructorDeletesLockedFile()
{
    Capture capture;
    {
        QtLockedFile file(m_path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.lock(QtLockedFile::ReadLock));
    }
    QVERIFY(!QFileInfo::exists(m_path));
    QCOMPARE(capture.take(), QStringList());
}

void tst_QtLockedFile::destructorLeavesUnlockedFile()
{
    {
        QtLockedFile file(m_path);
        QVERIFY(file.open(QIODevice::ReadWrite));
    }
    QVERIFY(QFileInfo::exists(m_path));
}

void tst_QtLockedFile::destructorOfClosedFileIsSilent()
{
    Capture capture;
    {
        QtLockedFile file(m_path);
    }
    QCOMPARE(capture.take(), QStringList());
    QVERIFY(QFileInfo::exists(m_path));
}

void tst_QtLockedFile::sameModeAsksTheSystemOnce_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("read") << int(QtLockedFile::ReadLock);
    QTest::newRow("write") << int(QtLockedFile::WriteLock);
}

void tst_QtLockedFile::sameModeAsksTheSystemOnce()
{
    QFETCH(int, mode);
    const auto lockMode = static_cast<QtLockedFile::LockMode>(mode);
    QtLockedFile file(m_path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.lock(lockMode));
    // The system's lock goes behind the object's back; a second call would renew it.
    struct flock record = {};
    record.l_type = F_UNLCK;
    record.l_whence = SEEK_SET;
    QCOMPARE(::fcntl(file.handle(), F_SETLK, &record), 0);
    QVERIFY(file.lock(lockMode));
    LiveChild other(QStringLiteral("lock_child"), lockArguments("write", "try"));
    QCOMPARE(other.line(), QByteArray("waiting"));
    QCOMPARE(other.line(), QByteArray("locked"));
}

void tst_QtLockedFile::changeOfMode_data()
{
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    QTest::newRow("read to write") << int(QtLockedFile::ReadLock) << int(QtLockedFile::WriteLock);
    QTest::newRow("write to read") << int(QtLockedFile::WriteLock) << int(QtLockedFile::ReadLock);
}

void tst_QtLockedFile::changeOfMode()
{
    QFETCH(int, from);
    QFETCH(int, to);
    Capture capture;
    QtLockedFile file(write("content"));
    QVERIFY(file.open(QIODevice::ReadWrite));
    // A second name, by which another process finds the file that lost its first.
    const QString link = m_path + QLatin1String(".link");
    QCOMPARE(::link(QFile::encodeName(m_path).constData(), QFile::encodeName(link).constData()), 0);

    QVERIFY(file.lock(static_cast<QtLockedFile::LockMode>(from)));
    const int descriptor = file.handle();
    QVERIFY(file.lock(static_cast<QtLockedFile::LockMode>(to)));
    QCOMPARE(int(file.lockMode()), to);
    QVERIFY(file.isOpen());
    QCOMPARE(file.handle(), descriptor);
    QVERIFY(!QFileInfo::exists(m_path));
    QCOMPARE(file.readAll(), QByteArray("content"));

    LiveChild other(QStringLiteral("lock_child"),
                    {link, QStringLiteral("write"), QStringLiteral("try")});
    QCOMPARE(other.line(), QByteArray("waiting"));
    QCOMPARE(other.line(), QByteArray("refused"));
    QVERIFY(file.unlock());
    QVERIFY(!file.isOpen());
    QCOMPARE(capture.take(), QStringList());
}

void tst_QtLockedFile::changeOfModeRefused()
{
    Capture capture;
    LiveChild reader(QStringLiteral("lock_child"), lockArguments("read", "wait"));
    QCOMPARE(reader.line(), QByteArray("waiting"));
    QCOMPARE(reader.line(), QByteArray("locked"));
    QtLockedFile file(m_path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.lock(QtLockedFile::ReadLock, false));
    QVERIFY(!file.lock(QtLockedFile::WriteLock, false));
    QCOMPARE(file.lockMode(), QtLockedFile::NoLock);
    QVERIFY(file.isOpen());
    QVERIFY(!QFileInfo::exists(m_path));
    QCOMPARE(capture.take(), QStringList());
}

void tst_QtLockedFile::betweenProcesses_data()
{
    QTest::addColumn<QByteArray>("held");
    QTest::addColumn<int>("wanted");
    QTest::addColumn<bool>("granted");
    QTest::newRow("write excludes write")
        << QByteArray("write") << int(QtLockedFile::WriteLock) << false;
    QTest::newRow("write excludes read")
        << QByteArray("write") << int(QtLockedFile::ReadLock) << false;
    QTest::newRow("read excludes write")
        << QByteArray("read") << int(QtLockedFile::WriteLock) << false;
    QTest::newRow("read admits read") << QByteArray("read") << int(QtLockedFile::ReadLock) << true;
}

void tst_QtLockedFile::betweenProcesses()
{
    QFETCH(QByteArray, held);
    QFETCH(int, wanted);
    QFETCH(bool, granted);
    LiveChild other(QStringLiteral("lock_child"), lockArguments(held.constData(), "wait"));
    QCOMPARE(other.line(), QByteArray("waiting"));
    QCOMPARE(other.line(), QByteArray("locked"));

    Capture capture;
    QtLockedFile file(m_path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QCOMPARE(file.lock(static_cast<QtLockedFile::LockMode>(wanted), false), granted);
    QCOMPARE(file.isLocked(), granted);
    QVERIFY(file.isOpen());
    QVERIFY(QFileInfo::exists(m_path));
    QCOMPARE(capture.take(), QStringList());
}

void tst_QtLockedFile::coversTheWholeFileAndBeyond()
{
    QtLockedFile file(write("0123456789"));
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.seek(5));
    QVERIFY(file.lock(QtLockedFile::WriteLock));
    QVERIFY(file.resize(20));
    LiveChild other(QStringLiteral("lock_child"), lockArguments("read", "try"));
    QCOMPARE(other.line(), QByteArray("waiting"));
    QCOMPARE(other.line(), QByteArray("refused"));
    QCOMPARE(file.pos(), 5);
}

void tst_QtLockedFile::blockingLockWaits()
{
    // Not unlock(): that would delete the file before the other one has it.
    auto file = std::make_unique<QtLockedFile>(m_path);
    QVERIFY(file->open(QIODevice::ReadWrite));
    QVERIFY(file->lock(QtLockedFile::WriteLock));
    LiveChild other(QStringLiteral("lock_child"), lockArguments("write", "wait"));
    QCOMPARE(other.line(), QByteArray("waiting"));
    QCOMPARE(other.line(200), QByteArray("(nothing)"));
    QVERIFY(file->unlock());
    QCOMPARE(other.line(), QByteArray("locked")); // the deleted file, by its descriptor

    // Whoever opens the path now locks a new file meanwhile.
    QVERIFY(file->open(QIODevice::ReadWrite));
    QVERIFY(file->lock(QtLockedFile::WriteLock, false));
}

void tst_QtLockedFile::blockingLockInterrupted()
{
    LiveChild other(QStringLiteral("lock_child"), lockArguments("write", "wait"));
    QCOMPARE(other.line(), QByteArray("waiting"));
    QCOMPARE(other.line(), QByteArray("locked"));

    struct sigaction action = {};
    action.sa_handler = ignoreSignal; // without SA_RESTART
    struct sigaction previous = {};
    QCOMPARE(::sigaction(SIGUSR1, &action, &previous), 0);
    std::atomic<bool> done{false};
    std::thread alarm([&done, target = ::pthread_self()] {
        while (!done) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            ::pthread_kill(target, SIGUSR1);
        }
    });
    Capture capture;
    QtLockedFile file(m_path);
    const bool opened = file.open(QIODevice::ReadWrite);
    const bool locked = file.lock(QtLockedFile::WriteLock);
    done = true;
    alarm.join();
    ::sigaction(SIGUSR1, &previous, nullptr);
    QVERIFY(opened);
    QVERIFY(!locked);
    QVERIFY(!file.isLocked());
    QCOMPARE(capture.take(), QStringList());
}

void tst_QtLockedFile::deadlockIsReported()
{
    // Each holds one file; the other one waits for ours already.
    QtLockedFile ours(m_path + QLatin1String(".ours"));
    QVERIFY(ours.open(QIODevice::ReadWrite));
    QVERIFY(ours.lock(QtLockedFile::WriteLock));
    const QString theirs = m_path + QLatin1String(".theirs");
    LiveChild other(QStringLiteral("lock_child"),
                    {theirs, QStringLiteral("write"), QStringLiteral("wait"), ours.fileName()});
    QCOMPARE(other.line(), QByteArray("waiting"));
    QCOMPARE(other.line(), QByteArray("locked"));
    QCOMPARE(other.line(), QByteArray("waiting"));
    // It says so just before it waits; a waiting lock shows in the system's list.
    const QByteArray waiter =
        QByteArray(" -> POSIX  ADVISORY  WRITE ") + QByteArray::number(other.pid());
    const auto isWaiting = [&waiter] {
        QFile locks(QStringLiteral("/proc/locks"));
        return locks.open(QIODevice::ReadOnly)
            && locks.readAll().replace("->", " ->").simplified().contains(waiter.simplified());
    };
    QTRY_VERIFY(isWaiting());

    Capture capture;
    QtLockedFile wanted(theirs);
    QVERIFY(wanted.open(QIODevice::ReadWrite));
    QVERIFY(!wanted.lock(QtLockedFile::WriteLock));
    QCOMPARE(
        capture.take(),
        QStringList{QStringLiteral("W QtLockedFile::lock(): fcntl: Resource deadlock avoided")});
    QVERIFY(!wanted.isLocked());
    QVERIFY(ours.unlock());
    QCOMPARE(other.line(), QByteArray("locked"));
}

void tst_QtLockedFile::lockFailureIsReported_data()
{
    QTest::addColumn<int>("openMode");
    QTest::addColumn<int>("mode");
    QTest::newRow("write lock on a file open for reading")
        << int(QIODevice::ReadOnly) << int(QtLockedFile::WriteLock);
    QTest::newRow("read lock on a file open for writing")
        << int(QIODevice::WriteOnly) << int(QtLockedFile::ReadLock);
}

void tst_QtLockedFile::lockFailureIsReported()
{
    QFETCH(int, openMode);
    QFETCH(int, mode);
    for (const bool block : {true, false}) {
        Capture capture;
        QtLockedFile file(m_path);
        QVERIFY(file.open(static_cast<QIODevice::OpenMode>(openMode)));
        QVERIFY(!file.lock(static_cast<QtLockedFile::LockMode>(mode), block));
        QCOMPARE(capture.take(), badDescriptor);
        QVERIFY(!file.isLocked());
    }
}

void tst_QtLockedFile::unlockFailureIsReported()
{
    QtLockedFile file(m_path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.lock(QtLockedFile::WriteLock));
    const int spare = ::dup(file.handle());
    QVERIFY(::close(file.handle()) == 0);
    Capture capture;
    QVERIFY(!file.unlock());
    QCOMPARE(capture.take(), badDescriptor);
    QCOMPARE(file.lockMode(), QtLockedFile::WriteLock);
    QVERIFY(file.isOpen());
    QVERIFY(QFileInfo::exists(m_path));

    QCOMPARE(::dup2(spare, file.handle()), file.handle());
    ::close(spare);
    QVERIFY(file.unlock());
    QVERIFY(!QFileInfo::exists(m_path));
}

void tst_QtLockedFile::lockIsFreedByTheDeathOfItsProcess()
{
    LiveChild other(QStringLiteral("lock_child"), lockArguments("write", "wait"));
    QCOMPARE(other.line(), QByteArray("waiting"));
    QCOMPARE(other.line(), QByteArray("locked"));
    QtLockedFile file(m_path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(!file.lock(QtLockedFile::WriteLock, false));
    other.kill();
    QVERIFY(file.lock(QtLockedFile::WriteLock, false));
}

QTEST_GUILESS_MAIN(tst_QtLockedFile)
#include "tst_qtlockedfile.moc"
