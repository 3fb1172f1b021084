// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "support/Child.h"

#include <QtCore/QDir>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <csignal>

using TestSupport::ChildOptions;
using TestSupport::ChildResult;
using TestSupport::helperPath;

namespace {

ChildResult runScenario(const QString &scenario, const QString &base,
                        const QStringList &environment = {})
{
    ChildOptions options;
    options.environment = QStringList{"LC_ALL=C.UTF-8"} + environment;
    options.limitMs = 60000;
    QStringList arguments{scenario};
    if (!base.isEmpty())
        arguments << base;
    return TestSupport::runChild(helperPath("exit_child"), arguments, options);
}

/// Calling exit() in a signal handler is what one of the rows is about. The threads
/// of Qt's network classes are beyond ThreadSanitizer, which sleeps for a second at
/// the end of each process with threads unless it is told not to.
QString optionsForThreadSanitizer()
{
    return "TSAN_OPTIONS=" + qEnvironmentVariable("TSAN_OPTIONS")
        + ":report_signal_unsafe=0:ignore_noninstrumented_modules=1:atexit_sleep_ms=10";
}

QStringList filesOfTheRoot()
{
    return QDir::root().entryList({"*.log"}, QDir::Files, QDir::Name);
}

/// What the log files in @p directory hold.
QByteArray contentOfLogs(const QString &directory)
{
    QByteArray content;
    const QDir dir(directory);
    const QStringList names = dir.entryList({"ZemixPro_*.log"}, QDir::Files, QDir::Name);
    for (const QString &name : names) {
        QFile file(dir.filePath(name));
        if (file.open(QIODevice::ReadOnly))
            content += file.readAll();
    }
    return content;
}

QByteArray loggedBelow(const QString &base)
{
    return contentOfLogs(base + "/appInfo/log");
}

/// The lines of a log whose messages begin with @p start, without their stamps.
QByteArray linesWith(const QByteArray &start, const QByteArray &content)
{
    constexpr int stampLength = 26;
    QByteArray lines;
    const QList<QByteArray> all = content.split('\n');
    for (const QByteArray &line : all) {
        if (line.mid(stampLength).startsWith(start))
            lines += line.mid(stampLength) + '\n';
    }
    return lines;
}

} // namespace

Q_DECLARE_METATYPE(TestSupport::ChildResult)

/// Programs end in many ways; none of them may crash, hang or lose its status.
class tst_ProcessExit : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyEnding_data();
    void everyEnding();
    void unloadedPlugin_data();
    void unloadedPlugin();
    void endsCleanly_data();
    void endsCleanly();
    void unreleasedServicesSayGoodbyeOnce();
    void releasedServicesSayGoodbyeOnce();
    void handlerLeftInstalledStillEchoes();
    void stoppedLogIsSilent();
    void writerOutlivesTheServices();
    void linesBeforeMain();
    void destroyingAWaitingWriterBlocks();
};

/// All ways to use the library with all ways to end: what a program has, and what
/// it leaves behind.
void tst_ProcessExit::everyEnding_data()
{
    QTest::addColumn<QStringList>("choice");
    QTest::addColumn<ChildResult>("child");
    QTest::addColumn<QByteArray>("written");

    std::vector<QStringList> choices;
    for (const char *const services : {"unused", "used", "released"}) {
        for (const char *const log : {"none", "handler", "running", "stopped", "removed"}) {
            for (const char *const ending :
                 {"return", "exit", "quick_exit", "_exit", "abort", "exception", "sigterm",
                  "sigterm-quit", "sigterm-exit"})
                choices.push_back({services, log, ending});
        }
    }
    std::vector<QTemporaryDir> dirs(choices.size());
    std::vector<QStringList> argumentLists;
    for (std::size_t i = 0; i < choices.size(); ++i)
        argumentLists.push_back(choices.at(i) + QStringList{dirs.at(i).path()});
    ChildOptions options;
    options.limitMs = 60000;
    options.environment = QStringList{optionsForThreadSanitizer()};
    const std::vector<ChildResult> children =
        TestSupport::runChildren(helperPath("ending_child"), argumentLists, options);
    for (std::size_t i = 0; i < choices.size(); ++i)
        QTest::newRow(qPrintable(choices.at(i).join(", ")))
            << choices.at(i) << children.at(i) << contentOfLogs(dirs.at(i).path());
}

void tst_ProcessExit::everyEnding()
{
    QFETCH(QStringList, choice);
    QFETCH(ChildResult, child);
    QFETCH(QByteArray, written);
    const QString services = choice.at(0);
    const QString log = choice.at(1);
    const QString ending = choice.at(2);
    const bool hasWriter = log != "none" && log != "handler";
    const bool destroysStatics =
        QStringList{"return", "exit", "sigterm-quit", "sigterm-exit"}.contains(ending);

    if (ending == "abort" || ending == "exception")
        QVERIFY2(child.endedBySignal(SIGABRT), child.report());
    else if (ending == "sigterm")
        QVERIFY2(child.endedBySignal(SIGTERM), child.report());
    else
        QVERIFY2(child.endedWith(3), child.report());
    QCOMPARE(child.out, QByteArray("ending\n"));

    // What was written is there, whatever the end.
    QByteArray lines;
    for (int i = 0; i < 20; ++i)
        lines += QByteArray("line ") + QByteArray::number(i) + " of 20\n";
    QCOMPARE(linesWith("line ", written), hasWriter ? lines : QByteArray());

    // A stopped logger is silent, all others echo to the end.
    const bool isSilent = log == "stopped";
    const int lastWords = destroysStatics && !isSilent ? 1 : 0;
    QVERIFY2(child.err.count("static destructor") == lastWords, child.report());
    const bool hasServices = services != "unused" || hasWriter;
    const int goodbyes = hasServices ? lastWords : 0;
    QVERIFY2(child.err.count("[debug][~PublicClass]") == goodbyes, child.report());
    QVERIFY2(child.err.count("[debug][~ZeFileManager]") == (services == "released" ? 1 : goodbyes),
             child.report());
    QVERIFY2(child.err.count(log == "none" ? "line 19 of 20\n" : "\x1B[33mline 19 of 20\x1B[0m\n")
                 == 1,
             child.report());
}

void tst_ProcessExit::unloadedPlugin_data()
{
    QTest::addColumn<QString>("log");
    QTest::newRow("writer left running") << "running";
    QTest::newRow("writer stopped, handler left") << "stopped";
}

/// The library stays when the plugin that brought it goes.
void tst_ProcessExit::unloadedPlugin()
{
#ifdef ZECORE_UNLOADED_PLUGIN
    QFETCH(QString, log);
    const QTemporaryDir dir;
    ChildOptions options;
    options.environment = QStringList{optionsForThreadSanitizer()};
    const ChildResult child = TestSupport::runChild(
        helperPath("unloading_child"),
        {ZECORE_UNLOADED_PLUGIN, ZECORE_LIBRARY_NAME, log, dir.path()}, options);
    QVERIFY2(child.endedWith(3), child.report());
    QCOMPARE(child.out, QByteArray("plugin gone, library loaded\n"));
    QCOMPARE(linesWith("a line of the plugin", contentOfLogs(dir.path())),
             QByteArray("a line of the plugin\n"));
    QCOMPARE(child.err.count("a line after the unloading"), log == "running" ? 1 : 0);
#else
    QSKIP("for the shared library only");
#endif
}

void tst_ProcessExit::endsCleanly_data()
{
    QTest::addColumn<QString>("scenario");
    QTest::addColumn<QString>("locale");
    QTest::addColumn<int>("times");
    const QStringList once{"nothing",
                           "services-unreleased",
                           "services-released",
                           "services-never-used",
                           "handler-left",
                           "log-stopped",
                           "log-stopped-services-released",
                           "log-leaked",
                           "log-leaked-services-released",
                           "writer-starts-after-the-services",
                           "instance-cleared-and-made-again",
                           "destroy-with-permit-left"};
    for (const QString &scenario : once)
        QTest::newRow(qPrintable(scenario)) << scenario << "C.UTF-8" << 2;
    QTest::newRow("exit from a thread") << "exit-from-thread"
                                        << "C.UTF-8" << 10;
    QTest::newRow("exit in a flood") << "exit-in-flood"
                                     << "C.UTF-8" << 5;
    QTest::newRow("exit from a thread in a flood") << "exit-from-thread-in-flood"
                                                   << "C.UTF-8" << 5;
    // Another local codec takes the road through Qt's codec objects.
    QTest::newRow("handler left, codec not UTF-8") << "handler-left"
                                                   << "C" << 2;
    QTest::newRow("log leaked, codec not UTF-8") << "log-leaked"
                                                 << "C" << 2;
    QTest::newRow("flood, codec not UTF-8") << "exit-in-flood"
                                            << "C" << 5;
}

void tst_ProcessExit::endsCleanly()
{
    QFETCH(QString, scenario);
    QFETCH(QString, locale);
    QFETCH(int, times);
    const QStringList filesBefore = filesOfTheRoot();
    const std::vector<QTemporaryDir> dirs(static_cast<std::size_t>(times));
    std::vector<QStringList> argumentLists;
    for (const QTemporaryDir &dir : dirs)
        argumentLists.push_back({scenario, dir.path()});
    ChildOptions options;
    options.environment = QStringList{"LC_ALL=" + locale};
    options.limitMs = 60000;
    const std::vector<ChildResult> children =
        TestSupport::runChildren(helperPath("exit_child"), argumentLists, options);
    for (const ChildResult &child : children)
        QVERIFY2(child.endedWith(0), child.report());
    // Without a directory the writer would have put its file there.
    QCOMPARE(filesOfTheRoot(), filesBefore);
}

void tst_ProcessExit::unreleasedServicesSayGoodbyeOnce()
{
    const ChildResult child = runScenario("services-unreleased", QString());
    QVERIFY2(child.endedWith(0), child.report());
    QCOMPARE(child.err.count("[debug][~PublicClass]"), 1);
    QCOMPARE(child.err.count("[debug][~ZeFileManager]"), 1);
}

void tst_ProcessExit::releasedServicesSayGoodbyeOnce()
{
    const ChildResult child = runScenario("services-released", QString());
    QVERIFY2(child.endedWith(0), child.report());
    QCOMPARE(child.out, QByteArray("instances 1 1\n")); // still pointing at what was there
    QCOMPARE(child.err.count("[debug][~ZeFileManager]"), 1);
    QCOMPARE(child.err.count("[debug][~PublicClass]"), 1); // never released, destroyed at the end

    const ChildResult unused = runScenario("services-never-used", QString());
    QVERIFY2(unused.endedWith(0), unused.report());
    QCOMPARE(unused.out, QByteArray("instances 0 0\n"));
    QVERIFY(!unused.err.contains('~'));
}

void tst_ProcessExit::handlerLeftInstalledStillEchoes()
{
    const QTemporaryDir dir;
    const ChildResult child = runScenario("handler-left", dir.path());
    QVERIFY2(child.endedWith(0), child.report());
    for (const char *text :
         {"\x1B[33mstatic destructor last 终\x1B[0m\n", "\x1B[31mdirect last\x1B[0m\n",
          "\x1B[33mstatic destructor first 终\x1B[0m\n", "\x1B[31mdirect first\x1B[0m\n",
          "\x1B[0m[debug][~PublicClass]\x1B[0m\n", "\x1B[0m[debug][~ZeFileManager]\x1B[0m\n"})
        QVERIFY2(child.err.count(text) == 1, child.report());
}

void tst_ProcessExit::stoppedLogIsSilent()
{
    const QTemporaryDir dir;
    const ChildResult child = runScenario("log-stopped", dir.path());
    QVERIFY2(child.endedWith(0), child.report());
    QVERIFY2(!child.err.contains("static destructor"), child.report());
    QVERIFY2(!child.err.contains("~PublicClass"), child.report());
    QCOMPARE(loggedBelow(dir.path()).count("[Zemix]logged\n"), 1);
}

void tst_ProcessExit::writerOutlivesTheServices()
{
    const QTemporaryDir dir;
    const ChildResult child = runScenario("log-leaked-services-released", dir.path());
    QVERIFY2(child.endedWith(0), child.report());
    QCOMPARE(loggedBelow(dir.path()).count("[Zemix]after the services\n"), 1);
}

void tst_ProcessExit::linesBeforeMain()
{
    const ChildResult child = runScenario("nothing", QString(), {"ZECORE_TEST_EARLY=1"});
    QVERIFY2(child.endedWith(0), child.report());
    QVERIFY2(child.err.startsWith("\x1B[33mbefore main\x1B[0m\n"), child.report());
}

void tst_ProcessExit::destroyingAWaitingWriterBlocks()
{
    const QTemporaryDir dir;
    QProcess child;
    child.start(helperPath("exit_child"), {"destroy-waiting-writer", dir.path()});
    QVERIFY(child.waitForReadyRead(60000));
    const bool ended = child.waitForFinished(2000);
    child.kill();
    QVERIFY(ended || child.waitForFinished(60000));
    QVERIFY(!ended);
    QCOMPARE(child.readAllStandardOutput(), QByteArray("destroying\n"));
}

QTEST_GUILESS_MAIN(tst_ProcessExit)
#include "tst_processexit.moc"
