// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "core/BaseObject.h"
#include "core/BaseThread.h"
#include "core/SendGlobalMsg.h"
#include "core/Sync_p.h"
#include "files/ZeFileManager.h"
#include "http/HttpApi.h"
#include "http/HttpServer.h"
#include "log/ZeLog.h"
#include "singleapp/QtSingleCoreApplication.h"
#include "singleapp/Sandbox.h"
#include "support/LogQueue.h"
#include "support/LogTally.h"
#include "support/StderrTo.h"
#include "util/OwnDirectory.h"
#include "util/PublicClass.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace {

constexpr int threadCount = 8;
constexpr int messageCount = 20;
constexpr int padding = 20;
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr int rounds = 12;
#else
constexpr int rounds = 30;
#endif
#if defined(__SANITIZE_THREAD__)
// A process that is forked while other threads work may wait for ever, in the locks of
// ThreadSanitizer itself that they held.
constexpr bool canFork = false;
#else
constexpr bool canFork = true;
#endif

const char senderRole[] = "send";

QString applicationId()
{
    return QStringLiteral("zecore-test-threads");
}

/// What went wrong on any thread.
class Failures
{
public:
    void expect(bool isRight, const char *what)
    {
        if (isRight)
            return;
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_texts.append(QString::fromLatin1(what));
    }

    QStringList texts() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_texts;
    }

private:
    mutable std::mutex m_mutex;
    QStringList m_texts;
};

/// What the threads have in common.
struct Shared
{
    QString directory;
    QString url; ///< one that can be had
    Failures failures;
    std::mutex historyTurn;
    std::atomic<int> elementsSeen{0};
};

/// The use of the services by one of the threads, as the documentation allows it:
/// files, catalogues and plain objects are its own, all else is shared.
class User
{
public:
    User(int thread, Shared &shared)
        : m_thread(thread)
        , m_directory(shared.directory + QStringLiteral("/user") + QString::number(thread))
        , m_shared(shared)
        , m_failures(shared.failures)
    {
    }

    void run()
    {
        m_failures.expect(QDir().mkpath(m_directory), "mkpath");
        for (int round = 0; round < rounds; ++round) {
            log(round);
            convert(round);
            compareVersions();
            useBuffer(round);
            useDataFiles(round);
            useFiles(round);
            useTrees(round);
            sendEvents(round);
            reportErrors(round);
            askForTheHttpClient();
            if (canFork && round % 6 == 0)
                runCommands(round);
        }
        m_failures.expect(!canFork || !ZeFileManager::init()->getDevices().isEmpty(), "getDevices");
    }

private:
    void log(int round)
    {
        for (int i = 0; i < 5; ++i)
            TestSupport::logText(
                TestSupport::numberedText(m_thread, round * qint64(5) + i, padding));
        qCritical().noquote() << "round" << round << ZeLog::setConsoleColor({1, 31}, "red");
    }

    void convert(int round)
    {
        const auto service = PublicClass::init();
        m_failures.expect(service->sizeToString(1536) == "1.50 KB", "sizeToString");
        m_failures.expect(service->getTimeForSec(93784000) == "01day02h03m04s", "getTimeForSec");
        m_failures.expect(service->isValidIP("10.0.0." + QString::number(round)), "isValidIP");
        m_failures.expect(service->findRegExp("a(\\d)", "a1 a2") == QStringList({"1", "2"}),
                          "findRegExp");
        const QString text = QString::number(m_thread * 1000 + round);
        m_failures.expect(QByteArray(service->qStringToLPCSTR(text)) == text.toLatin1(),
                          "qStringToLPCSTR");
        m_failures.expect(service->qStringtoStdString("终") == "\xD6\xD5", "qStringtoStdString");
        m_failures.expect(service->randomPassword(12, true, true, true, true).size() == 12,
                          "randomPassword");
        m_failures.expect(service->getDateMSTime(round).endsWith(
                              QStringLiteral(".0%1").arg(round, 2, 10, QLatin1Char('0'))),
                          "getDateMSTime");
    }

    void compareVersions()
    {
        m_failures.expect(PublicClass::isLowVersion("1.2.3", "1.10.0"), "isLowVersion");
        m_failures.expect(PublicClass::isSameGyroVersion("GY_1-1.2", "GY_1-1.2"),
                          "isSameGyroVersion");
    }

    void useBuffer(int round)
    {
        const auto service = PublicClass::init();
        QByteArray element = QByteArray::number(m_thread);
        service->addByteArrayList(element);
        const QByteArray first = service->getByteArrayIndex(0);
        m_failures.expect(first.size() <= 1, "getByteArrayIndex");
        if (!first.isEmpty())
            m_shared.elementsSeen.fetch_add(1, std::memory_order_relaxed);
        if (service->getByteArrayListSize() > 3)
            service->removeByteArrayList(round % 3);
        if (round % 10 == 9) {
            const ZeCore::MutexLock lock(PublicClass::_mutex);
            service->setByteArrayList({"0", "1"});
        }
    }

    void useDataFiles(int round)
    {
        const auto service = PublicClass::init();
        const QString path = m_directory + "/data.json";
        const QVariantMap map{{"thread", double(m_thread)}, {"round", double(round)}};
        m_failures.expect(service->writeJsonFile(path, map, QJsonDocument::Compact),
                          "PublicClass::writeJsonFile");
        m_failures.expect(service->getJsonVariant(path).toMap() == map,
                          "PublicClass::getJsonVariant");
        const QString ini = QStringLiteral("settings%1.ini").arg(m_thread);
        service->writeIni(ini, "group/round", round);
        m_failures.expect(
            service->readIni(QCoreApplication::applicationDirPath() + '/' + ini, "group/round")
                == QVariant(round),
            "readIni");
        QMap<QString, QVariant> catalogue;
        service->addLogDirList(catalogue, m_directory, "own:log|other:/var/log");
        m_failures.expect(catalogue.size() == 2, "addLogDirList");
        const std::lock_guard<std::mutex> turn(m_shared.historyTurn);
        m_failures.expect(service->writeActionHistory(QStringLiteral("action")),
                          "writeActionHistory");
    }

    void useFiles(int round)
    {
        const auto manager = ZeFileManager::init();
        const QString path = m_directory + "/lines.txt";
        m_failures.expect(manager->writeFile(path, "a\nb\nc\n"), "writeFile");
        m_failures.expect(manager->truncateFile(path, 2), "truncateFile");
        m_failures.expect(manager->Md5File(path) == manager->Md5Encryption(QByteArray("b\nc\n")),
                          "Md5File");
        const QVariantList list{double(round), QVariantMap{{"终", true}}};
        const QString json = m_directory + "/list.json";
        m_failures.expect(manager->writeJsonFile(json, list, QJsonDocument::Indented),
                          "ZeFileManager::writeJsonFile");
        m_failures.expect(manager->readJsonFile(json).toList() == list, "readJsonFile");
        m_failures.expect(manager->getStorageInfo("/").value("isRoot").toBool(), "getStorageInfo");
    }

    void useTrees(int round)
    {
        const auto manager = ZeFileManager::init();
        const QString tree = m_directory + "/tree";
        m_failures.expect(QDir().mkpath(tree + "/below"), "mkpath");
        for (int i = 0; i < 4; ++i)
            manager->writeFile(QStringLiteral("%1/below/%2.txt").arg(tree).arg(i), "content");
        m_failures.expect(manager->copyDirectoryFiles(tree, m_directory + "/copy", {"0.txt"}, true),
                          "copyDirectoryFiles");
        QList<QVariant> found;
        m_failures.expect(manager->getDirectorySuffixFiles(m_directory + "/copy", {"txt"}, found)
                              && found.size() == 3,
                          "getDirectorySuffixFiles");
        m_failures.expect(manager->queryFileList(m_directory + "/copy/below", {}).size() == 3,
                          "queryFileList");
        m_failures.expect(
            manager->removeLastDateTimeFiles(m_directory + "/copy/below", {"*.txt"}, 1),
            "removeLastDateTimeFiles");
        m_failures.expect(manager->removeFileByTime(m_directory + "/copy/below", round % 2),
                          "removeFileByTime");
        m_failures.expect(manager->removeDirOrFile(m_directory + "/copy"), "removeDirOrFile");
    }

    void sendEvents(int round)
    {
        SendGlobalMsg::init()->sendGlobalMsg(SendGlobalMsg::E_GS_SaveLayout, round);
        SendGlobalMsg::init()->sendGlobalMsgResult(100 + m_thread, QString::number(round), false);
    }

    void reportErrors(int round)
    {
        const QString text = QStringLiteral("error of thread %1").arg(m_thread);
        ZeFileManager::setLastError(text);
        m_failures.expect(ZeFileManager::getLastError().startsWith("error of thread "),
                          "ZeFileManager::getLastError");
        BaseObject object;
        object.setLastError(text + '\n' + QString::number(round));
        m_failures.expect(object.lastError() == text + QString::number(round), "lastError");
    }

    void runCommands(int round)
    {
        const auto service = PublicClass::init();
        const QString word = QStringLiteral("%1-%2").arg(m_thread).arg(round);
        QString out;
        m_failures.expect(service->processCmd("echo " + word, out, 30000, true)
                              && out.trimmed() == word,
                          "processCmd");
        QByteArray bytes;
        m_failures.expect(service->processCmd2("printf " + word, bytes, 30000)
                              && bytes == word.toLatin1(),
                          "processCmd2");
        int exitCode = 0;
        m_failures.expect(!service->processCmd3("exit 3", out, 30000, exitCode, false)
                              && exitCode == 3,
                          "processCmd3");
        m_failures.expect(!service->cmdHalSh("printf failed", out, 30000), "cmdHalSh");
    }

    /// It belongs to the main thread, and says so.
    void askForTheHttpClient()
    {
        m_failures.expect(!HttpApi::init()->getUrl(m_shared.url), "getUrl elsewhere");
    }

    int m_thread;
    QString m_directory;
    Shared &m_shared;
    Failures &m_failures;
};

/// A thread that works until it is told to stop.
class Worker : public BaseThread
{
public:
    ~Worker() override { stopThread(); }

    void run() override
    {
        const ZeCore::ThreadEnd end(this);
        while (!isNeedStop())
            msleep(1);
    }
};

/// The lines of @p bytes, sorted: what @p form captures of a whole one.
QStringList textsIn(const QByteArray &bytes, const QString &form)
{
    const QRegularExpression whole(QRegularExpression::anchoredPattern(form));
    QStringList lines = QString::fromUtf8(bytes).split('\n');
    if (lines.constLast().isEmpty())
        lines.removeLast(); // behind the last line feed
    for (QString &line : lines) {
        const QRegularExpressionMatch match = whole.match(line);
        line = match.hasMatch() ? match.captured(1) : "torn: " + line;
    }
    lines.sort();
    return lines;
}

/// The other process: it finds the first one and sends it its messages.
int sendMessages(int argc, char **argv)
{
    QtSingleCoreApplication app(applicationId(), argc, argv);
    if (!app.isRunning())
        return 2;
    for (int i = 0; i < messageCount; ++i) {
        if (!app.sendMessage(QStringLiteral("message %1 终").arg(i), 30000))
            return 3;
    }
    return 0;
}

} // namespace

/// All services at once, from as many threads as their documentation allows. What a
/// thread checker finds in it is a fault.
class tst_Threads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sharedStateAndNothingElse();
    void switchesAndColoursWhileOthersLog();
    void allServicesFromEightThreads();
};

void tst_Threads::allServicesFromEightThreads()
{
    const QTemporaryDir dir;
    const auto service = PublicClass::init();
    service->appDir = dir.path();
    service->initMember();
    QVERIFY(QDir().mkpath(QCoreApplication::applicationDirPath() + "/appInfo/backupFile"));
    ZeLog log;
    log.start();
    const QtMessageHandler testHandler = qInstallMessageHandler(ZeLog::outputMessage);

    HttpServer server;
    server.answer("/json", HttpServer::reply("200 OK", R"({"answer": [42]})"));
    const auto http = HttpApi::init();
    int messages = 0;
    auto *const app = qobject_cast<QtSingleCoreApplication *>(QCoreApplication::instance());
    connect(app, &QtSingleCoreApplication::messageReceived, this,
            [count = &messages](const QString &text, QObject *socket) {
                *count += text == QStringLiteral("message %1 终").arg(*count) ? 1 : 1000;
                socket->deleteLater();
            });
    int queuedEvents = 0;
    connect(SendGlobalMsg::init(), &SendGlobalMsg::sigSendGlobalMsg, this,
            [&queuedEvents] { ++queuedEvents; });
    std::atomic<int> directEvents{0};
    const auto direct = connect(
        SendGlobalMsg::init(), &SendGlobalMsg::sigSendGlobalMsgResult, this,
        [&directEvents] { ++directEvents; }, Qt::DirectConnection);
    Worker worker;
    worker.start();
    QProcess sender;
    sender.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    sender.start(QCoreApplication::applicationFilePath(), {senderRole});

    Shared shared;
    shared.directory = dir.path();
    shared.url = server.url("/json");
    Failures &failures = shared.failures;
    std::atomic<int> running{threadCount};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([thread, &shared, &running] {
            User(thread, shared).run();
            --running;
        });
    }
    int requests = 0;
    while (running > 0) {
        failures.expect(http->getUrl(shared.url), "getUrl");
        failures.expect(http->getJsonVariant(http->getReq().toByteArray()).toMap().value("answer")
                            == QVariantList{42.0},
                        "getJsonVariant");
        failures.expect(!http->getUrl(server.url("/missing")), "getUrl of nothing");
        log.removeLogs();
        worker.setThreadType(++requests);
        PublicClass::init()->waitMSTime(1);
    }
    for (std::thread &thread : threads)
        thread.join();
    QTRY_COMPARE_WITH_TIMEOUT(sender.state(), QProcess::NotRunning, 60000);
    worker.stopThread();
    TestSupport::waitUntilWritten();
    TestSupport::stopCleanly(log);
    qInstallMessageHandler(testHandler);

    QCOMPARE(failures.texts(), QStringList());
    QVERIFY(requests > 0);
    // Nobody removes an element before having asked for one.
    QVERIFY(shared.elementsSeen > 0);
    QCOMPARE(sender.exitCode(), 0);
    QCOMPARE(messages, messageCount);
    QTRY_COMPARE(queuedEvents, threadCount * rounds);
    disconnect(direct);
    QCOMPARE(directEvents.load(), threadCount * rounds);
    QCOMPARE(service->readAllActionHistory().count("\taction\r\n"), threadCount * rounds);
    TestSupport::LogTally tally(service->logDir, threadCount, padding);
    tally.readToTheEnd();
    QCOMPARE(tally.fault(), QString());
    QCOMPARE(tally.written(), qint64(threadCount) * rounds * 5);
}

/// The documented races: they are read and written in one access each. A line is there
/// as a whole or not at all, in one of the colours; all are while the logger is on.
void tst_Threads::switchesAndColoursWhileOthersLog()
{
    const QTemporaryDir dir;
    PublicClass::init()->logDir = dir.path();
    constexpr int leastSwitched = 2000;
    constexpr int mostSwitched = 40000; // the file must not outgrow its limit
    constexpr int steadyLines = 200;
    const auto steadyText = [](int thread, int i) {
        return QStringLiteral("steady line %1 of thread %2").arg(i).arg(thread);
    };
    std::atomic<int> logged{0};
    QByteArray echo;
    {
        ZeLog log;
        const QtMessageHandler testHandler = qInstallMessageHandler(ZeLog::outputMessage);
        TestSupport::StderrCapture capture;
        log.start();
        std::atomic<bool> staysOn{false};
        std::atomic<int> running{threadCount};
        std::vector<std::thread> threads;
        for (int thread = 0; thread < threadCount; ++thread) {
            threads.emplace_back([thread, &steadyText, &staysOn, &logged, &running] {
                while (!staysOn.load(std::memory_order_acquire)) {
                    if (logged.fetch_add(1, std::memory_order_relaxed) < mostSwitched)
                        qCritical("in whatever colour");
                    else
                        std::this_thread::yield();
                }
                for (int i = 0; i < steadyLines; ++i)
                    qCritical().noquote() << steadyText(thread, i);
                running.fetch_sub(1, std::memory_order_relaxed);
            });
        }
        int round = 0;
        const auto changeColour = [&round] {
            ZeCore::writeShared(ZeLog::FORE_GROUND_RED, 31 + ++round % 6);
            QThread::usleep(500);
        };
        while (round < rounds || logged.load(std::memory_order_relaxed) < leastSwitched) {
            ZeLog::setWriteLogToFile(round % 2 == 0);
            changeColour();
        }
        ZeLog::setWriteLogToFile(true);
        staysOn.store(true, std::memory_order_release);
        while (running.load(std::memory_order_relaxed) > 0)
            changeColour();
        for (std::thread &thread : threads)
            thread.join();
        ZeCore::writeShared(ZeLog::FORE_GROUND_RED, 31);
        echo = capture.take();
        TestSupport::waitUntilTaken();
        TestSupport::stopCleanly(log);
        qInstallMessageHandler(testHandler);
    }
    ZeCore::writeShared(ZeLog::_isRelease, false);

    QFile file(dir.filePath(ZeLog::s_LogName));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QStringList texts = textsIn(file.readAll(), R"(\[\d{6} \d{6}\.\d{3}\]\[Zemix\](.*))");
    QCOMPARE(textsIn(echo, "\x1B\\[3[1-6]m(.*)\x1B\\[0m"), texts);
    QVERIFY(texts.removeAll("in whatever colour") <= logged);
    QStringList steadyTexts;
    for (int thread = 0; thread < threadCount; ++thread) {
        for (int i = 0; i < steadyLines; ++i)
            steadyTexts.append(steadyText(thread, i));
    }
    steadyTexts.sort();
    QCOMPARE(texts, steadyTexts);
}

/// Without the log lines of the other test, whose lock orders all that is around it and
/// so hides from a thread checker that another lock is missing.
void tst_Threads::sharedStateAndNothingElse()
{
    const QtMessageHandler testHandler =
        qInstallMessageHandler([](QtMsgType /*type*/, const QMessageLogContext & /*context*/,
                                  const QString & /*text*/) {});
    constexpr int times = 4000;
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&go] {
            while (!go.load(std::memory_order_relaxed))
                std::this_thread::yield();
            QByteArray element("element");
            for (int i = 0; i < times; ++i)
                PublicClass::init()->addByteArrayList(element);
            for (int i = 0; i < times; ++i)
                ZeFileManager::setLastError(QStringLiteral("error %1").arg(i));
            for (int i = 0; i < times; ++i)
                SendGlobalMsg::init();
        });
    }
    go.store(true, std::memory_order_relaxed);
    for (std::thread &thread : threads)
        thread.join();
    qInstallMessageHandler(testHandler);
    QCOMPARE(PublicClass::init()->getByteArrayListSize(), threadCount * times);
    PublicClass::init()->setByteArrayList({});
    QCOMPARE(ZeFileManager::getLastError(), QStringLiteral("error %1").arg(times - 1));
}

int main(int argc, char **argv)
{
    if (argc > 1 && QByteArray(argv[1]) == senderRole)
        return sendMessages(argc, argv);
    if (!TestSupport::isInOwnDirectory())
        return TestSupport::runInOwnDirectory(argc, argv);
    const TestSupport::Sandbox sandbox;
    QtSingleCoreApplication app(applicationId(), argc, argv);
    tst_Threads test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_threads.moc"
