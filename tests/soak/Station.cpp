// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Station.h"

#include "Rates.h"
#include "Vitals.h"
#include "core/SendGlobalMsg.h"
#include "files/ZeFileManager.h"
#include "http/HttpApi.h"
#include "log/ZeLog.h"
#include "singleapp/Commands.h"
#include "singleapp/QtSingleCoreApplication.h"
#include "support/LogQueue.h"
#include "support/LogTally.h"
#include "util/PublicClass.h"

#include <QtCore/QDebug>
#include <QtCore/QDir>
#include <QtCore/QThread>

#include <numeric>

namespace Soak {

namespace {

constexpr int answers = 10; // see the web server

/// Directories, logger and handler as a program has them.
std::unique_ptr<ZeLog> startLogger()
{
    const auto service = PublicClass::init();
    service->appDir = QCoreApplication::applicationDirPath();
    service->initMember();
    auto log = std::make_unique<ZeLog>();
    log->start();
    qInstallMessageHandler(ZeLog::outputMessage);
    return log;
}

void stopLogger(std::unique_ptr<ZeLog> &log)
{
    TestSupport::waitUntilWritten();
    TestSupport::stopCleanly(*log);
    log.reset();
}

} // namespace

QByteArray Counts::toWords() const
{
    QByteArray words;
    for (const qint64 count : {lines, sent, received, requests, commands, saves, trees, events})
        words += QByteArray::number(count) + ' ';
    return words.trimmed();
}

Counts Counts::fromWords(const QList<QByteArray> &words, int first)
{
    Counts counts;
    for (qint64 *count : {&counts.lines, &counts.sent, &counts.received, &counts.requests,
                          &counts.commands, &counts.saves, &counts.trees, &counts.events})
        *count = words.value(first++).toLongLong();
    return counts;
}

Station::Station(QtSingleCoreApplication &app, const QString &serverUrl)
    : m_app(app)
    , m_serverUrl(serverUrl)
    , m_directory(QCoreApplication::applicationDirPath() + QLatin1String("/data"))
    , m_log(startLogger())
{
    static_assert(loggingThreads == 2, "as many counters");
    QDir().mkpath(m_directory + QLatin1String("/source/below"));
    QDir().mkpath(QCoreApplication::applicationDirPath() + QLatin1String("/appInfo/backupFile"));
    for (int i = 0; i < 10; ++i)
        ZeFileManager::init()->writeFile(
            QStringLiteral("%1/source/below/%2.txt").arg(m_directory).arg(i),
            QByteArray(1000 * i, 'x'));
    connect(&app, &QtSingleCoreApplication::messageReceived, this, &Station::receive);
    connect(SendGlobalMsg::init(), &SendGlobalMsg::sigSendGlobalMsg, this,
            [this] { ++m_counts.events; });
    connect(&m_timer, &QTimer::timeout, this, &Station::work);
    m_clock.start();
    m_timer.start(10);
    for (int thread = 0; thread < loggingThreads; ++thread)
        m_threads.emplace_back([this, thread] { logLines(thread); });
}

Station::~Station()
{
    m_stops = true;
    for (std::thread &thread : m_threads)
        thread.join();
}

QByteArray Station::report() const
{
    Counts counts = m_counts;
    counts.lines = std::accumulate(m_logged.begin(), m_logged.end(), qint64(0));
    return counts.toWords() + ' ' + Vitals::ofThisProcess().toWords() + ' ' + m_fault.toUtf8();
}

QByteArray Station::stop()
{
    m_timer.stop();
    m_stops = true;
    for (std::thread &thread : m_threads)
        thread.join();
    m_threads.clear();
    stopLogger(m_log);
    return QByteArray::number(m_logged.at(0)) + ' ' + QByteArray::number(m_logged.at(1));
}

void Station::logLines(int thread)
{
    std::atomic<qint64> &logged = m_logged.at(static_cast<std::size_t>(thread));
    while (!m_stops) {
        const double seconds = double(m_clock.elapsed()) / 1000;
        while (double(logged) * loggingThreads < due(PerDay::lines, seconds)) {
            TestSupport::logText(TestSupport::numberedText(thread, logged, linePadding));
            ++logged;
        }
        QThread::msleep(5);
    }
}

/// Does one of each kind that is due, so that the events of the loop get their turn.
void Station::work()
{
    const double seconds = double(m_clock.elapsed()) / 1000;
    if (m_peer > 0 && double(m_counts.sent) < due(PerDay::messages, seconds))
        send();
    if (double(m_counts.requests) < due(PerDay::requests, seconds))
        request();
    if (double(m_counts.commands) < due(PerDay::commands, seconds))
        runCommand();
    if (double(m_counts.saves) < due(PerDay::saves, seconds))
        save();
    if (double(m_counts.trees) < due(PerDay::trees, seconds))
        useTree();
}

/// Messages of the other station are numbered; those of visitors begin otherwise.
void Station::receive(const QString &text, QObject *socket)
{
    socket->deleteLater();
    ++m_counts.received;
    if (text.startsWith(QLatin1String("visitor ")))
        return;
    expect(text == TestSupport::numberedText(0, m_nextFromPeer++, linePadding),
           QLatin1String("message: ") + text);
}

void Station::send()
{
    const QString text = TestSupport::numberedText(0, m_counts.sent++, linePadding);
    expect(m_app.isRunning(m_peer), QStringLiteral("isRunning"));
    expect(m_app.sendMessage(text, 20000, m_peer), QStringLiteral("sendMessage"));
}

void Station::request()
{
    const auto http = HttpApi::init();
    const qint64 number = m_counts.requests++;
    if (number % 50 == 0) {
        expect(!http->getUrl(m_serverUrl + QLatin1String("missing"))
                   && http->lastError().endsWith(QLatin1String("Not Found")),
               QLatin1String("missing page: ") + http->lastError());
        return;
    }
    const qint64 answer = number % answers;
    const bool ok = http->getUrl(m_serverUrl + QString::number(answer));
    const QVariant tree = http->getJsonVariant(http->getReq().toByteArray());
    expect(ok && tree.toMap().value(QStringLiteral("answer")) == QVariant(double(answer)),
           QLatin1String("getUrl: ") + http->lastError());
}

void Station::runCommand()
{
    const auto service = PublicClass::init();
    const qint64 number = m_counts.commands++;
    QString out;
    if (number % 100 == 0) {
        expect(!service->processCmd(QStringLiteral("exec sleep 60"), out, 20, true),
               QStringLiteral("time-out of a command"));
        return;
    }
    int exitCode = -1;
    const QString command = QStringLiteral("echo %1; exit %2").arg(number).arg(number % 3);
    const bool ok = service->processCmd3(command, out, 60000, exitCode, true);
    expect(ok == (number % 3 == 0) && exitCode == number % 3
               && out.trimmed() == QString::number(number),
           QLatin1String("command: ") + out);
}

void Station::save()
{
    const auto service = PublicClass::init();
    const auto manager = ZeFileManager::init();
    const qint64 number = m_counts.saves++;
    const QVariantMap map{{QStringLiteral("number"), double(number)},
                          {QStringLiteral("终"), QVariantList{true, QStringLiteral("text")}}};
    const QString path = m_directory + QLatin1String("/state.json");
    expect(manager->writeJsonFile(path, map, QJsonDocument::Indented)
               && manager->readJsonFile(path).toMap() == map,
           QStringLiteral("ZeFileManager's JSON"));
    expect(service->writeJsonFile(path, map, QJsonDocument::Compact)
               && service->getJsonVariant(path).toMap() == map,
           QStringLiteral("PublicClass's JSON"));
    expect(manager->Md5File(path)
               == manager->Md5Encryption(service->qVariantToByteArray(map, QJsonDocument::Compact)),
           QStringLiteral("Md5File"));
    const QString ini = QStringLiteral("data/state.ini");
    service->writeIni(ini, QStringLiteral("group/number"), number);
    expect(service->readIni(QCoreApplication::applicationDirPath() + QLatin1Char('/') + ini,
                            QStringLiteral("group/number"))
                   .toLongLong()
               == number,
           QStringLiteral("INI"));
    expect(service->writeActionHistory(QString::number(number)), QStringLiteral("action history"));
    expect(!service->readAllActionHistory().isEmpty(), QStringLiteral("action history, read"));
    const QString text = m_directory + QLatin1String("/state.txt");
    expect(manager->writeFile(text, "a\nb\nc\n") && manager->truncateFile(text, 2)
               && service->readTxt(text) == QStringList({QStringLiteral("b"), QStringLiteral("c")}),
           QStringLiteral("text file"));
    SendGlobalMsg::init()->sendGlobalMsg(SendGlobalMsg::E_GS_SaveLayout, number);
    expect(m_counts.events == m_counts.saves, QStringLiteral("event"));
}

void Station::useTree()
{
    const auto manager = ZeFileManager::init();
    const qint64 number = m_counts.trees++;
    const QString copy = m_directory + QLatin1String("/copy");
    expect(manager->copyDirectoryFiles(m_directory + QLatin1String("/source"), copy,
                                       {QStringLiteral("0.txt")}, true),
           QStringLiteral("copyDirectoryFiles"));
    QList<QVariant> files;
    expect(manager->getDirectoryFiles(copy, {}, files) && files.size() == 9,
           QStringLiteral("getDirectoryFiles"));
    const QString below = copy + QLatin1String("/below");
    expect(manager->removeLastDateTimeFiles(below, {QStringLiteral("*.txt")}, 5)
               && manager->queryFileList(below, {}).size() == 5,
           QStringLiteral("retention"));
    if (number % 20 == 0)
        expect(!manager->getDevices().isEmpty(), QStringLiteral("getDevices"));
    expect(manager->removeDirOrFile(copy), QStringLiteral("removeDirOrFile"));
}

void Station::expect(bool isRight, const QString &what)
{
    if (!isRight && m_fault.isEmpty())
        m_fault = what.simplified();
}

int runStation(int argc, char **argv, const QString &serverUrl)
{
    QtSingleCoreApplication app(QString::fromLatin1(applicationId), argc, argv);
    Station station(app, serverUrl);
    TestSupport::say("ready");
    const TestSupport::CommandReader commands([&station](const QList<QByteArray> &words) {
        if (words.first() == "peer")
            station.setPeer(words.at(1).toLongLong());
        else if (words.first() == "report")
            TestSupport::say(station.report());
        else if (words.first() == "stop")
            TestSupport::say(station.stop());
    });
    const int status = QCoreApplication::exec();
    HttpApi::releaseThis();
    ZeFileManager::releaseThis();
    return status;
}

int runVisitor(int argc, char **argv, const QString &message)
{
    QtSingleCoreApplication app(QString::fromLatin1(applicationId), argc, argv);
    std::unique_ptr<ZeLog> log = startLogger();
    const bool ok = app.isRunning() && app.sendMessage(message, 20000);
    for (int i = 0; i < 10; ++i)
        qDebug() << "a line of" << message;
    stopLogger(log);
    return ok ? 0 : 1;
}

} // namespace Soak
