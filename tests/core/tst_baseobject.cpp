// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "core/BaseObject.h"
#include "core/BaseThread.h"
#include "core/Sync_p.h"
#include "support/Capture.h"

#include <QtCore/QMetaMethod>
#include <QtCore/QTimer>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <atomic>
#include <type_traits>

using TestSupport::Capture;

namespace {

/// Runs until it is asked to stop; shows what the base class leaves to it.
class Worker : public BaseThread
{
public:
    using BaseThread::BaseThread;
    using BaseThread::mutex;

protected:
    void run() override
    {
        const ZeCore::ThreadEnd end(this);
        while (!isNeedStop())
            msleep(1);
        setResult(42);
        Q_EMIT sigThreadOut(threadType());
    }
};

/// Lives in an event loop, which stopThread() must end.
class LoopWorker : public BaseThread
{
public:
    std::atomic<bool> isServing{false};

protected:
    void run() override
    {
        const ZeCore::ThreadEnd end(this);
        QObject inThisThread;
        QTimer::singleShot(0, &inThisThread, [this] { isServing = true; });
        exec();
    }
};

} // namespace

class tst_BaseObject : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void objectStartsWithoutError();
    void objectErrors_data();
    void objectErrors();
    void objectErrorFromItself();
    void objectAddsNothingToTheMetaObject();
    void objectBelongsToItsParent();
    void threadDefaults();
    void threadErrors_data();
    void threadErrors();
    void threadAccessors();
    void threadMetaObject();
    void stopThreadNeverStarted();
    void stopThreadEndsRun();
    void stopThreadEndsEventLoop();
    void stoppedThreadRunsAgainAfterReset();
    void threadMutexIsFree();
};

void tst_BaseObject::objectStartsWithoutError()
{
    const BaseObject object;
    QVERIFY(object.lastError().isEmpty());
    QCOMPARE(object.parent(), nullptr);
}

void tst_BaseObject::objectErrors_data()
{
    QTest::addColumn<QString>("error");
    QTest::addColumn<QString>("stored");
    QTest::newRow("plain") << "no space"
                           << "no space";
    QTest::newRow("line feed goes") << "a\nb"
                                    << "ab";
    QTest::newRow("all line feeds go") << "\na\n\nb\n"
                                       << "ab";
    QTest::newRow("carriage returns stay") << "a\r\nb\r"
                                           << "a\rb\r";
    QTest::newRow("only line feeds") << "\n\n"
                                     << "";
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("substitution marks") << "%1 of %2"
                                        << "%1 of %2";
    QTest::newRow("Chinese") << QStringLiteral("打开失败\n路径") << QStringLiteral("打开失败路径");
    QTest::newRow("quotes and escapes") << "\"x\" \\n"
                                        << "\"x\" \\n";
}

void tst_BaseObject::objectErrors()
{
    QFETCH(QString, error);
    QFETCH(QString, stored);
    Capture capture;
    BaseObject object;
    object.setLastError(error);
    QCOMPARE(object.lastError(), stored);
    QCOMPARE(
        capture.lines(),
        QStringList{QStringLiteral("W [warning][setLastError] [ ") + error + QStringLiteral(" ]")});
}

void tst_BaseObject::objectErrorFromItself()
{
    Capture capture;
    BaseObject object;
    object.setLastError(QStringLiteral("kept"));
    object.setLastError(object.lastError());
    QCOMPARE(object.lastError(), QStringLiteral("kept"));
    QCOMPARE(capture.lines().size(), 2);
}

void tst_BaseObject::objectAddsNothingToTheMetaObject()
{
    const QMetaObject &meta = BaseObject::staticMetaObject;
    QCOMPARE(meta.className(), "BaseObject");
    QCOMPARE(meta.methodCount(), QObject::staticMetaObject.methodCount());
    QCOMPARE(meta.propertyCount(), QObject::staticMetaObject.propertyCount());
    QCOMPARE(meta.enumeratorCount(), QObject::staticMetaObject.enumeratorCount());
}

void tst_BaseObject::objectBelongsToItsParent()
{
    QObject parent;
    auto *child = new BaseObject(&parent);
    QCOMPARE(parent.children(), QObjectList{child});
}

void tst_BaseObject::threadDefaults()
{
    const BaseThread thread;
    QCOMPARE(thread.threadType(), 0);
    QCOMPARE(thread.result(), 0);
    QVERIFY(!thread.isNeedStop());
    QVERIFY(thread.lastError().isEmpty());
    QVERIFY(!thread.isRunning());
}

void tst_BaseObject::threadErrors_data()
{
    QTest::addColumn<QString>("error");
    QTest::newRow("plain") << "no space";
    QTest::newRow("line feeds stay") << "a\nb\n";
    QTest::newRow("empty") << "";
    QTest::newRow("substitution marks") << "%1 of %2";
}

void tst_BaseObject::threadErrors()
{
    QFETCH(QString, error);
    Capture capture;
    BaseThread thread;
    thread.setLastError(error);
    QCOMPARE(thread.lastError(), error);
    QCOMPARE(capture.lines(),
             QStringList{QStringLiteral("W [warning][setLastError] [error: ") + error
                         + QStringLiteral(" ]")});
}

void tst_BaseObject::threadAccessors()
{
    BaseThread thread;
    thread.setThreadType(-7);
    thread.setResult(1 << 30);
    thread.setNeedStop(true);
    QCOMPARE(thread.threadType(), -7);
    QCOMPARE(thread.result(), 1 << 30);
    QVERIFY(thread.isNeedStop());
    thread.setNeedStop(false);
    QVERIFY(!thread.isNeedStop());
}

void tst_BaseObject::threadMetaObject()
{
    const QMetaObject &meta = BaseThread::staticMetaObject;
    QCOMPARE(meta.methodCount(), QThread::staticMetaObject.methodCount() + 1);
    const QMetaMethod signal = meta.method(meta.methodOffset());
    QCOMPARE(signal.methodType(), QMetaMethod::Signal);
    QCOMPARE(signal.methodSignature(), QByteArray("sigThreadOut(int)"));
    QCOMPARE(signal.parameterNames(), QList<QByteArray>{"threadType"});
    QCOMPARE(meta.propertyCount(), QThread::staticMetaObject.propertyCount());
    QCOMPARE(meta.enumeratorCount(), QThread::staticMetaObject.enumeratorCount());
}

void tst_BaseObject::stopThreadNeverStarted()
{
    BaseThread thread;
    thread.stopThread();
    QVERIFY(thread.isNeedStop());
    QVERIFY(!thread.isRunning());
}

void tst_BaseObject::stopThreadEndsRun()
{
    Worker worker;
    worker.setThreadType(3);
    QSignalSpy out(&worker, &BaseThread::sigThreadOut);
    worker.start();
    QVERIFY(worker.isRunning());
    worker.stopThread();
    QVERIFY(worker.isFinished());
    QCOMPARE(worker.result(), 42);
    QTRY_COMPARE(out.count(), 1);
    QCOMPARE(out.first().first().toInt(), 3);
}

void tst_BaseObject::stopThreadEndsEventLoop()
{
    LoopWorker worker;
    worker.start();
    QTRY_VERIFY(worker.isServing);
    worker.stopThread();
    QVERIFY(worker.isFinished());
}

void tst_BaseObject::stoppedThreadRunsAgainAfterReset()
{
    Worker worker;
    worker.start();
    worker.stopThread();
    QVERIFY(worker.isNeedStop());
    worker.setResult(0);
    worker.start(); // ends at once: the request still stands
    QVERIFY(worker.wait(10000));
    ZeCore::threadJoined(&worker);
    QCOMPARE(worker.result(), 42);
    worker.setNeedStop(false);
    worker.start();
    QVERIFY(!worker.wait(20));
    worker.stopThread();
}

void tst_BaseObject::threadMutexIsFree()
{
    static_assert(std::is_same<decltype(Worker::mutex), QMutex>::value, "a plain QMutex");
    Worker worker;
    QVERIFY(worker.mutex.tryLock());
    QVERIFY(!worker.mutex.tryLock()); // not recursive
    worker.mutex.unlock();
}

QTEST_GUILESS_MAIN(tst_BaseObject)
#include "tst_baseobject.moc"
