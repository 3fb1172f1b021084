// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "core/SendGlobalMsg.h"
#include "support/Capture.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QMetaEnum>
#include <QtCore/QMetaMethod>
#include <QtCore/QThread>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <array>
#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

using TestSupport::Capture;

namespace {

constexpr int sendingThreads = 4;
constexpr int eventsPerThread = 200;

/// Remembers on which thread each event arrived.
class Receiver : public QObject
{
public:
    explicit Receiver(QObject *parent = nullptr)
        : QObject(parent)
    {
    }

    void receive(int sgs, const QVariant &var)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (QThread::currentThread() != thread())
            m_wrongThread = true;
        m_values[static_cast<size_t>(sgs - firstSender)].push_back(var.toInt());
        ++m_count;
    }

    int count() const { return m_count; }
    bool isEachSenderInOrder() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (const std::vector<int> &values : m_values) {
            for (size_t i = 0; i < values.size(); ++i) {
                if (values[i] != static_cast<int>(i))
                    return false;
            }
        }
        return !m_wrongThread;
    }

    static constexpr int firstSender = 1000;

private:
    mutable std::mutex m_mutex;
    std::array<std::vector<int>, sendingThreads> m_values;
    bool m_wrongThread = false;
    std::atomic<int> m_count{0};
};

} // namespace

class tst_SendGlobalMsg : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rulesSilenceTheLine();
    // First, since the one object cannot be deleted.
    void threadsGetTheSameObject();
    void objectHasNoParent();
    void enumeration_data();
    void enumeration();
    void metaObject();
    void busOfOnesOwn();
    void messages_data();
    void messages();
    void logLineComesBeforeTheSignal();
    void directReceiverRunsOnTheSendersThread();
    void sendersOnManyThreads();
};

void tst_SendGlobalMsg::threadsGetTheSameObject()
{
    QVERIFY(!SendGlobalMsg::pSendGlobalMsg);
    std::array<SendGlobalMsg *, 8> seen{};
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (SendGlobalMsg *&slot : seen) {
        threads.emplace_back([&slot, &go] {
            while (!go)
                std::this_thread::yield();
            slot = SendGlobalMsg::init();
        });
    }
    go = true;
    for (std::thread &thread : threads)
        thread.join();
    for (const SendGlobalMsg *object : seen) {
        QVERIFY(object);
        QCOMPARE(object, SendGlobalMsg::init());
    }
    QCOMPARE(SendGlobalMsg::pSendGlobalMsg, SendGlobalMsg::init());
}

void tst_SendGlobalMsg::objectHasNoParent()
{
    QCOMPARE(SendGlobalMsg::init()->parent(), nullptr);
}

void tst_SendGlobalMsg::enumeration_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("0") << int(SendGlobalMsg::E_GS_ChangedTranslator)
                       << QByteArray("E_GS_ChangedTranslator");
    QTest::newRow("1") << int(SendGlobalMsg::E_GS_ShowGViewRule)
                       << QByteArray("E_GS_ShowGViewRule");
    QTest::newRow("2") << int(SendGlobalMsg::E_GS_ShowCurveTangent)
                       << QByteArray("E_GS_ShowCurveTangent");
    QTest::newRow("3") << int(SendGlobalMsg::E_GS_CalibrationNode)
                       << QByteArray("E_GS_CalibrationNode");
    QTest::newRow("4") << int(SendGlobalMsg::E_GS_SaveLayout) << QByteArray("E_GS_SaveLayout");
    QTest::newRow("5") << int(SendGlobalMsg::E_GS_RestoreLayout)
                       << QByteArray("E_GS_RestoreLayout");
    QTest::newRow("6") << int(SendGlobalMsg::E_GS_SynchronizeZmxLMap)
                       << QByteArray("E_GS_SynchronizeZmxLMap");
    QTest::newRow("7") << int(SendGlobalMsg::E_GS_SynchronizeZmxModel)
                       << QByteArray("E_GS_SynchronizeZmxModel");
    QTest::newRow("8") << int(SendGlobalMsg::E_GS_ScanFinisedOpenLMap)
                       << QByteArray("E_GS_ScanFinisedOpenLMap");
    QTest::newRow("9") << int(SendGlobalMsg::E_GS_ImportImageToOpenLMap)
                       << QByteArray("E_GS_ImportImageToOpenLMap");
    QTest::newRow("10") << int(SendGlobalMsg::E_GS_ChangedMainTab)
                        << QByteArray("E_GS_ChangedMainTab");
    QTest::newRow("11") << int(SendGlobalMsg::E_GS_UploadLMap) << QByteArray("E_GS_UploadLMap");
    QTest::newRow("12") << int(SendGlobalMsg::E_GS_ChangedLocalLMap)
                        << QByteArray("E_GS_ChangedLocalLMap");
    QTest::newRow("13") << int(SendGlobalMsg::E_GS_UserRole) << QByteArray("E_GS_UserRole");
}

void tst_SendGlobalMsg::enumeration()
{
    QFETCH(int, value);
    QFETCH(QByteArray, name);
    QCOMPARE(QByteArray::number(value), QByteArray(QTest::currentDataTag()));
    const QMetaObject &meta = SendGlobalMsg::staticMetaObject;
    const QMetaEnum events = meta.enumerator(meta.indexOfEnumerator("GlobalSignals"));
    QVERIFY(events.isValid());
    QCOMPARE(events.keyCount(), 14);
    QCOMPARE(events.key(value), name.constData());
    QCOMPARE(events.value(value), value);
    QCOMPARE(events.keyToValue(name.constData()), value);
}

void tst_SendGlobalMsg::metaObject()
{
    const QMetaObject &meta = SendGlobalMsg::staticMetaObject;
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
    QCOMPARE(meta.methodCount(), QObject::staticMetaObject.methodCount() + 2);
    QCOMPARE(meta.propertyCount(), QObject::staticMetaObject.propertyCount());
    QCOMPARE(meta.enumeratorCount(), QObject::staticMetaObject.enumeratorCount() + 1);

    const QMetaMethod event = meta.method(meta.methodOffset());
    QCOMPARE(event.methodType(), QMetaMethod::Signal);
    QCOMPARE(event.methodSignature(), QByteArray("sigSendGlobalMsg(int,QVariant)"));
    QCOMPARE(event.parameterNames(), (QList<QByteArray>{"sgs", "var"}));
    const QMetaMethod result = meta.method(meta.methodOffset() + 1);
    QCOMPARE(result.methodType(), QMetaMethod::Signal);
    QCOMPARE(result.methodSignature(), QByteArray("sigSendGlobalMsgResult(int,QVariant,bool)"));
    QCOMPARE(result.parameterNames(), (QList<QByteArray>{"sgs", "var", "isError"}));

    const QMetaEnum events = meta.enumerator(meta.enumeratorOffset());
    QCOMPARE(events.name(), "GlobalSignals");
    QVERIFY(!events.isScoped());
    QVERIFY(!events.isFlag());
}

void tst_SendGlobalMsg::busOfOnesOwn()
{
    QObject parent;
    auto *bus = new SendGlobalMsg(&parent);
    QCOMPARE(bus->parent(), &parent);
    QVERIFY(bus != SendGlobalMsg::init());
}

void tst_SendGlobalMsg::messages_data()
{
    QTest::addColumn<int>("sgs");
    QTest::addColumn<QVariant>("var");
    QTest::addColumn<QString>("shown"); // between the brackets, without "isError:"
    QTest::newRow("flag") << 4 << QVariant(true)
                          << QStringLiteral("E_GS_SaveLayout QVariant(bool, true)");
    QTest::newRow("number") << 11 << QVariant(3)
                            << QStringLiteral("E_GS_UploadLMap QVariant(int, 3)");
    QTest::newRow("odd spelling") << 8 << QVariant(1.5)
                                  << QStringLiteral(
                                         "E_GS_ScanFinisedOpenLMap QVariant(double, 1.5)");
    QTest::newRow("first") << 0 << QVariant()
                           << QStringLiteral("E_GS_ChangedTranslator QVariant(Invalid)");
    QTest::newRow("text without quotes")
        << 13 << QVariant(QStringLiteral("\"a\" b\n%1"))
        << QStringLiteral("E_GS_UserRole QVariant(QString, \"a\" b\n%1)");
    QTest::newRow("Chinese") << 1 << QVariant(QStringLiteral("地图"))
                             << QStringLiteral("E_GS_ShowGViewRule QVariant(QString, 地图)");
    QTest::newRow("no name, nothing") << 100 << QVariant() << QStringLiteral(" QVariant(Invalid)");
    QTest::newRow("one too far") << 14 << QVariant(1) << QStringLiteral(" QVariant(int, 1)");
    QTest::newRow("negative") << -1 << QVariant(1) << QStringLiteral(" QVariant(int, 1)");
}

void tst_SendGlobalMsg::messages()
{
    QFETCH(int, sgs);
    QFETCH(QVariant, var);
    QFETCH(QString, shown);
    SendGlobalMsg *bus = SendGlobalMsg::init();
    QSignalSpy events(bus, &SendGlobalMsg::sigSendGlobalMsg);
    QSignalSpy results(bus, &SendGlobalMsg::sigSendGlobalMsgResult);
    Capture capture;

    bus->sendGlobalMsg(sgs, var);
    QCOMPARE(
        capture.take(),
        QStringList{QStringLiteral("D [debug][sendGlobalMsg] [ ") + shown + QStringLiteral(" ]")});
    QCOMPARE(events.count(), 1);
    QCOMPARE(results.count(), 0);
    QCOMPARE(events.first().at(0).toInt(), sgs);
    QCOMPARE(events.first().at(1), var);

    for (const bool isError : {false, true}) {
        results.clear();
        bus->sendGlobalMsgResult(sgs, var, isError);
        QCOMPARE(capture.take(),
                 QStringList{QStringLiteral("D [debug][sendGlobalMsgResult] [ ") + shown
                             + (isError ? QStringLiteral(" isError: true ]")
                                        : QStringLiteral(" isError: false ]"))});
        QCOMPARE(results.count(), 1);
        QCOMPARE(results.first().at(0).toInt(), sgs);
        QCOMPARE(results.first().at(1), var);
        QCOMPARE(results.first().at(2).toBool(), isError);
    }
    QCOMPARE(events.count(), 1);
}

void tst_SendGlobalMsg::logLineComesBeforeTheSignal()
{
    SendGlobalMsg *bus = SendGlobalMsg::init();
    Capture capture;
    QList<int> linesAtArrival;
    QObject context; // destroyed before what its slots use
    const auto count = [&linesAtArrival, &capture] { linesAtArrival << capture.lines().size(); };
    connect(bus, &SendGlobalMsg::sigSendGlobalMsg, &context, count);
    connect(bus, &SendGlobalMsg::sigSendGlobalMsgResult, &context, count);
    bus->sendGlobalMsg(SendGlobalMsg::E_GS_SaveLayout, 1);
    bus->sendGlobalMsgResult(SendGlobalMsg::E_GS_SaveLayout, 1, false);
    QCOMPARE(linesAtArrival, (QList<int>{1, 2}));
}

void tst_SendGlobalMsg::directReceiverRunsOnTheSendersThread()
{
    const Capture quiet;
    QObject context;
    std::thread::id received;
    std::thread::id sent;
    connect(
        SendGlobalMsg::init(), &SendGlobalMsg::sigSendGlobalMsg, &context,
        [&received] { received = std::this_thread::get_id(); }, Qt::DirectConnection);
    std::thread sender([&sent] {
        sent = std::this_thread::get_id();
        SendGlobalMsg::init()->sendGlobalMsg(0, QVariant());
    });
    sender.join();
    QVERIFY(received == sent);
    QVERIFY(received != std::this_thread::get_id());
}

void tst_SendGlobalMsg::sendersOnManyThreads()
{
    const Capture quiet;
    SendGlobalMsg *bus = SendGlobalMsg::init();
    Receiver here;
    Receiver there; // outlives its thread
    QThread elsewhere;
    there.moveToThread(&elsewhere);
    for (Receiver *receiver : {&here, &there})
        connect(bus, &SendGlobalMsg::sigSendGlobalMsg, receiver, &Receiver::receive);
    elsewhere.start();

    std::vector<std::thread> senders;
    for (int sender = 0; sender < sendingThreads; ++sender) {
        senders.emplace_back([bus, sender] {
            for (int i = 0; i < eventsPerThread; ++i)
                bus->sendGlobalMsg(Receiver::firstSender + sender, i);
        });
    }
    for (std::thread &sender : senders)
        sender.join();
    QTRY_COMPARE_WITH_TIMEOUT(here.count(), sendingThreads * eventsPerThread, 30000);
    QTRY_COMPARE_WITH_TIMEOUT(there.count(), sendingThreads * eventsPerThread, 30000);
    QVERIFY(here.isEachSenderInOrder());
    QVERIFY(there.isEachSenderInOrder());
    elsewhere.quit();
    QVERIFY(elsewhere.wait(30000));
}

/// What the logging rules of the program drop is not written; the signals come all the same.
void tst_SendGlobalMsg::rulesSilenceTheLine()
{
    SendGlobalMsg bus(nullptr);
    QSignalSpy sent(&bus, &SendGlobalMsg::sigSendGlobalMsg);
    QLoggingCategory::setFilterRules("default.debug=false");
    Capture capture;
    bus.sendGlobalMsg(SendGlobalMsg::E_GS_SaveLayout, true);
    const QStringList silenced = capture.take();
    QLoggingCategory::setFilterRules(QString());
    bus.sendGlobalMsg(SendGlobalMsg::E_GS_SaveLayout, true);
    QCOMPARE(silenced, QStringList());
    QCOMPARE(capture.take(),
             QStringList{"D [debug][sendGlobalMsg] [ E_GS_SaveLayout QVariant(bool, true) ]"});
    QCOMPARE(sent.count(), 2);
}

QTEST_GUILESS_MAIN(tst_SendGlobalMsg)
#include "tst_sendglobalmsg.moc"
