// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "support/Capture.h"
#include "support/Child.h"
#include "util/PublicClass.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTextCodec>
#include <QtTest/QTest>

#include <atomic>
#include <thread>
#include <vector>

#include <csignal>

using TestSupport::Capture;

namespace {

enum Operation { Cmd, Cmd2, Cmd3, HalSh };

const QStringList names{"processCmd", "processCmd2", "processCmd3", "cmdHalSh"};

struct Outcome
{
    bool result = false;
    QString out;
    int exitCode = -77;
    QStringList lines;
};

Outcome call(Operation operation, const QString &cmd, bool print = true, int timeoutMs = 30000)
{
    PublicClass &service = *PublicClass::init();
    Outcome outcome;
    outcome.out = "stale";
    Capture capture;
    switch (operation) {
    case Cmd:
        outcome.result = service.processCmd(cmd, outcome.out, timeoutMs, print);
        break;
    case Cmd2: {
        QByteArray bytes("stale");
        outcome.result = service.processCmd2(cmd, bytes, timeoutMs);
        outcome.out = QString::fromLocal8Bit(bytes);
        break;
    }
    case Cmd3:
        outcome.result = service.processCmd3(cmd, outcome.out, timeoutMs, outcome.exitCode, print);
        break;
    case HalSh:
        outcome.result = service.cmdHalSh(cmd, outcome.out, timeoutMs);
        break;
    }
    outcome.lines = capture.lines();
    return outcome;
}

QString debugLine(Operation operation, const QString &text)
{
    return "D [debug][" + names.at(operation) + "] " + text;
}

QString startLine(Operation operation, const QString &cmd)
{
    return debugLine(operation, "[开始执行cmd指令: " + cmd + "]");
}

bool isRunning(const QByteArray &pid)
{
    return QFile::exists("/proc/" + QString::fromLatin1(pid.trimmed()) + "/exe");
}

} // namespace

class tst_Shell : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void commands_data();
    void commands();
    void timeOut_data();
    void timeOut();
    void timeOutKillsTheShellOnly();
    void shellThatIgnoresSigterm();
    void waitsWithoutLimit();
    void sameObjectForCommandAndOutput();
    void rawBytes();
    void localEncoding();
    void bothChannelsFlood_data();
    void bothChannelsFlood();
    void commandThatReadsStandardInput();
    void commandThatLeavesADaemon();
    void shellThatCrashes();
    void shellThatCannotBeStarted();
    void environmentAndDirectoryAreInherited();
    void fromSeveralThreads();
};

void tst_Shell::initTestCase()
{
    const Capture capture;
    PublicClass::init();
}

void tst_Shell::commands_data()
{
    QTest::addColumn<int>("operation");
    QTest::addColumn<QString>("cmd");
    QTest::addColumn<bool>("print");
    QTest::addColumn<bool>("result");
    QTest::addColumn<QString>("out");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("resultLog"); // empty: no line
    QTest::addColumn<bool>("startLog");
    const int untouched = -77;

    // name, operation, cmd, print, result, out, exit code, log of the result, log of the start
    QTest::newRow("processCmd silent success")
        << int(Cmd) << "true" << true << true << "Unknown error" << untouched
        << "[返回cmd指令结果: cmd.exitCode:0 cmd.readAllStandardError:]" << true;
    QTest::newRow("processCmd silent success, not printed")
        << int(Cmd) << "true" << false << true << "Unknown error" << untouched
        << "[返回cmd指令结果:DoNotPrint: cmd.exitCode:0]" << true;
    QTest::newRow("processCmd two lines")
        << int(Cmd) << "printf 'a\\nb\\n'" << true << true << "a\nb\n"
        << untouched << "[返回cmd指令结果:a b  cmd.exitCode:0 cmd.readAllStandardError:]" << true;
    QTest::newRow("processCmd line feeds of the error channel")
        << int(Cmd) << "echo a; echo e >&2" << true << true << "a\n"
        << untouched << "[返回cmd指令结果:a  cmd.exitCode:0 cmd.readAllStandardError:e ]" << true;
    QTest::newRow("processCmd not printed")
        << int(Cmd) << "echo secret" << false << true << "secret\n"
        << untouched << "[返回cmd指令结果:DoNotPrint: cmd.exitCode:0]" << true;
    QTest::newRow("processCmd fails with error text, despite print")
        << int(Cmd) << "echo x >&2; exit 3" << false << true << "x\n"
        << untouched
        << "[返回cmd指令结果: cmd.exitCode:3 cmd.errorString:Unknown error "
           "cmd.readAllStandardError:x ]"
        << true;
    QTest::newRow("processCmd fails in silence")
        << int(Cmd) << "exit 1" << true << true << "Unknown error" << untouched
        << "[返回cmd指令结果: cmd.exitCode:1 cmd.errorString:Unknown error "
           "cmd.readAllStandardError:]"
        << true;
    QTest::newRow("processCmd success with error text only")
        << int(Cmd) << "echo w >&2" << true << true << "w\n"
        << untouched << "[返回cmd指令结果: cmd.exitCode:0 cmd.readAllStandardError:w ]" << true;
    QTest::newRow("processCmd substitution marks")
        << int(Cmd) << "printf '%%2 %%3'; printf '%%1' >&2" << true << true << "%2 %3" << untouched
        << "[返回cmd指令结果:%2 %3 cmd.exitCode:0 cmd.readAllStandardError:%1]" << true;
    QTest::newRow("processCmd pipes and quotes")
        << int(Cmd) << "echo 'a b' | tr a-z A-Z" << true << true << "A B\n"
        << untouched << "[返回cmd指令结果:A B  cmd.exitCode:0 cmd.readAllStandardError:]" << true;
    QTest::newRow("processCmd no such command")
        << int(Cmd) << "exec 2>/dev/null; zecore-no-such" << true << true << "Unknown error"
        << untouched
        << "[返回cmd指令结果: cmd.exitCode:127 cmd.errorString:Unknown error "
           "cmd.readAllStandardError:]"
        << true;
    QTest::newRow("processCmd text ends at the first NUL")
        << int(Cmd) << "printf 'a\\0b'" << true << true << "a" << untouched
        << "[返回cmd指令结果:a cmd.exitCode:0 cmd.readAllStandardError:]" << true;
    QTest::newRow("processCmd empty command")
        << int(Cmd) << "" << true << true << "Unknown error" << untouched
        << "[返回cmd指令结果: cmd.exitCode:0 cmd.readAllStandardError:]" << true;

    QTest::newRow("processCmd2 keeps line feeds")
        << int(Cmd2) << "printf 'a\\nb\\n'; echo e >&2" << true << true << "a\nb\n"
        << untouched << "[返回cmd指令结果:a\nb\n cmd.exitCode:0 cmd.readAllStandardError:e\n]"
        << true;
    QTest::newRow("processCmd2 silent success")
        << int(Cmd2) << "true" << true << true << "Unknown error" << untouched
        << "[返回cmd指令结果: cmd.exitCode:0 cmd.readAllStandardError:]" << true;
    QTest::newRow("processCmd2 fails")
        << int(Cmd2) << "printf 'o\\n'; echo e >&2; exit 4" << true << true << "o\n"
        << untouched
        << "[返回cmd指令结果:o\n cmd.exitCode:4 cmd.errorString:Unknown error "
           "cmd.readAllStandardError:e\n]"
        << true;
    QTest::newRow("processCmd2 error text only")
        << int(Cmd2) << "echo 错 >&2" << true << true << "错\n"
        << untouched << "[返回cmd指令结果: cmd.exitCode:0 cmd.readAllStandardError:错\n]" << true;

    QTest::newRow("processCmd3 success")
        << int(Cmd3) << "printf 'a\\nb\\n'" << true << true << "a\nb\n"
        << 0 << "[返回cmd指令结果:a\nb\n cmd.exitCode:0 cmd.readAllStandardError:]" << true;
    QTest::newRow("processCmd3 not printed")
        << int(Cmd3) << "echo a" << false << true << "a\n"
        << 0 << "[返回cmd指令结果:a\n cmd.exitCode:0 cmd.readAllStandardError:]" << false;
    QTest::newRow("processCmd3 fails, not printed")
        << int(Cmd3) << "exit 2" << false << false << "Unknown error" << 2
        << "[返回cmd指令结果: cmd.exitCode:2 cmd.errorString:Unknown error "
           "cmd.readAllStandardError:]"
        << false;
    QTest::newRow("processCmd3 fails with error text")
        << int(Cmd3) << "echo e >&2; exit 5" << true << false << "e\n"
        << 5
        << "[返回cmd指令结果: cmd.exitCode:5 cmd.errorString:Unknown error "
           "cmd.readAllStandardError:e\n]"
        << true;

    QTest::newRow("cmdHalSh success") << int(HalSh) << "echo done" << true << true << "done\n"
                                      << untouched << "" << true;
    QTest::newRow("cmdHalSh silent")
        << int(HalSh) << "echo e >&2" << true << true << "" << untouched << "" << true;
    QTest::newRow("cmdHalSh ignores the exit code")
        << int(HalSh) << "echo done; exit 9" << true << true << "done\n"
        << untouched << "" << true;
    QTest::newRow("cmdHalSh failed with a line end")
        << int(HalSh) << "echo failed" << true << true << "failed\n"
        << untouched << "" << true;
    QTest::newRow("cmdHalSh failed in capitals")
        << int(HalSh) << "printf FAILED" << true << true << "FAILED" << untouched << "" << true;
}

void tst_Shell::commands()
{
    QFETCH(int, operation);
    QFETCH(QString, cmd);
    QFETCH(bool, print);
    QFETCH(bool, startLog);
    QFETCH(QString, resultLog);
    const auto op = static_cast<Operation>(operation);
    const Outcome outcome = call(op, cmd, print);
    QTEST(outcome.result, "result");
    QTEST(outcome.out, "out");
    QTEST(outcome.exitCode, "exitCode");
    QStringList lines;
    if (startLog)
        lines << startLine(op, cmd);
    if (!resultLog.isEmpty())
        lines << debugLine(op, resultLog);
    QCOMPARE(outcome.lines, lines);
}

void tst_Shell::timeOut_data()
{
    QTest::addColumn<int>("operation");
    QTest::addColumn<bool>("print");
    QTest::addColumn<bool>("namesCommand");
    QTest::addColumn<bool>("startLog");
    QTest::newRow("processCmd") << int(Cmd) << true << true << true;
    QTest::newRow("processCmd not printed") << int(Cmd) << false << true << true;
    QTest::newRow("processCmd2") << int(Cmd2) << true << false << true;
    QTest::newRow("processCmd3") << int(Cmd3) << true << false << true;
    QTest::newRow("processCmd3 not printed") << int(Cmd3) << false << false << false;
    QTest::newRow("cmdHalSh") << int(HalSh) << true << true << true;
}

void tst_Shell::timeOut()
{
    QFETCH(int, operation);
    QFETCH(bool, print);
    QFETCH(bool, namesCommand);
    QFETCH(bool, startLog);
    const auto op = static_cast<Operation>(operation);
    const QString cmd = "echo early; exec sleep 5";
    QElapsedTimer timer;
    timer.start();
    const Outcome outcome = call(op, cmd, print, 100);
    QVERIFY(timer.elapsed() >= 100);
    QVERIFY(timer.elapsed() < 4500);
    QVERIFY(!outcome.result);
    QCOMPARE(outcome.out,
             (namesCommand ? "[cmd:" + cmd + "]" : QString())
                 + "exitCode:[0]Process operation timed out");
    QCOMPARE(outcome.exitCode, -77);
    QStringList lines;
    if (startLog)
        lines << startLine(op, cmd);
    lines << "W [warning][" + names.at(op) + "] [ Process operation timed out ]";
    QCOMPARE(outcome.lines, lines);
}

void tst_Shell::timeOutKillsTheShellOnly()
{
    const QTemporaryDir dir;
    const QString pids = dir.filePath("pids");
    const Outcome outcome = call(Cmd, "sleep 30 & echo $$ $! > '" + pids + "'; wait", true, 500);
    QVERIFY(!outcome.result);
    QFile file(pids);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QList<QByteArray> ids = file.readAll().trimmed().split(' ');
    QCOMPARE(ids.size(), 2);
    QVERIFY(!isRunning(ids.at(0)));
    const bool sleeps = isRunning(ids.at(1));
    ::kill(ids.at(1).toInt(), SIGKILL);
    QVERIFY(sleeps);
}

void tst_Shell::shellThatIgnoresSigterm()
{
    QElapsedTimer timer;
    timer.start();
    const Outcome outcome = call(
        Cmd3, "trap '' TERM; for i in {1..50}; do read -t 0.1 < <(:) ; sleep 0.1; done", true, 200);
    QVERIFY(!outcome.result);
    QVERIFY(timer.elapsed() < 4500);
}

void tst_Shell::waitsWithoutLimit()
{
    const Outcome outcome = call(Cmd, "sleep 0.3; echo late", true, -1);
    QVERIFY(outcome.result);
    QCOMPARE(outcome.out, QStringLiteral("late\n"));
}

void tst_Shell::sameObjectForCommandAndOutput()
{
    PublicClass &service = *PublicClass::init();
    const Capture capture;
    QString text = "printf failed";
    QVERIFY(!service.cmdHalSh(text, text, 30000));
    QCOMPARE(text, QStringLiteral("[cmd:printf failed]failed"));
    QCOMPARE(capture.lines(),
             (QStringList{startLine(HalSh, "printf failed"),
                          "W [warning][cmdHalSh] [cmd:printf failed]failed"}));
    text = "exec sleep 5";
    QVERIFY(!service.processCmd(text, text, 50, false));
    QCOMPARE(text, QStringLiteral("[cmd:exec sleep 5]exitCode:[0]Process operation timed out"));
    int exitCode = 0;
    text = "echo again";
    QVERIFY(service.processCmd3(text, text, 30000, exitCode, false));
    QCOMPARE(text, QStringLiteral("again\n"));
}

void tst_Shell::rawBytes()
{
    const Capture capture;
    QByteArray out;
    QVERIFY(PublicClass::init()->processCmd2("printf 'a\\000b\\377\\n'", out, 30000));
    QCOMPARE(out, QByteArray("a\0b\xFF\n", 5));
    const QString shown = QString::fromUtf8(out.constData(), out.size());
    QCOMPARE(shown.size(), 5); // to the end, whatever bytes there are
    QCOMPARE(capture.lines().constLast(),
             debugLine(Cmd2,
                       "[返回cmd指令结果:" + shown + " cmd.exitCode:0 cmd.readAllStandardError:]"));
}

void tst_Shell::localEncoding()
{
    QTextCodec *const before = QTextCodec::codecForLocale();
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("GB18030"));
    const Outcome text = call(Cmd, "printf '\\xbf\\xaa\\xca\\xbc'");
    const Outcome error = call(Cmd2, "printf '\\xbf\\xaa\\xca\\xbc' >&2");
    QTextCodec::setCodecForLocale(before);
    QCOMPARE(text.out, QStringLiteral("开始"));
    QVERIFY(text.lines.last().contains("开始"));
    QVERIFY(error.lines.last().contains("开始"));
    // Bytes that the encoding does not know never fail the call.
    const Outcome broken = call(Cmd, "printf '\\377\\376x'");
    QVERIFY(broken.result);
    QVERIFY(broken.out.endsWith('x'));
}

void tst_Shell::bothChannelsFlood_data()
{
    QTest::addColumn<int>("mebibytes");
    QTest::newRow("1 MiB") << 1;
    QTest::newRow("100 MiB") << 100;
}

void tst_Shell::bothChannelsFlood()
{
    QFETCH(int, mebibytes);
    const QString amount = QString::number(mebibytes) + "M";
    const Outcome outcome = call(
        Cmd, "flood() { head -c " + amount + " /dev/zero | tr '\\0' x; }; flood & flood >&2; wait",
        false, 100000);
    QVERIFY(outcome.result);
    QCOMPARE(outcome.out.size(), mebibytes * 1024 * 1024);
    QCOMPARE(outcome.lines.size(), 2);
}

void tst_Shell::commandThatReadsStandardInput()
{
    // The pipe stays open and nothing comes, so only the time-out ends it.
    const Outcome outcome = call(Cmd, "cat", true, 200);
    QVERIFY(!outcome.result);
    QVERIFY(outcome.out.startsWith("[cmd:cat]exitCode:[0]"));
}

void tst_Shell::commandThatLeavesADaemon()
{
    // The daemon keeps the pipes open; the shell's end is what counts.
    const QTemporaryDir dir;
    const QString pid = dir.filePath("pid");
    QElapsedTimer timer;
    timer.start();
    const Outcome outcome =
        call(Cmd, "echo left; setsid sleep 30 & echo $! > '" + pid + "'", true, 20000);
    QVERIFY(timer.elapsed() < 15000);
    QVERIFY(outcome.result);
    QCOMPARE(outcome.out, QStringLiteral("left\n"));
    QFile file(pid);
    QVERIFY(file.open(QIODevice::ReadOnly));
    ::kill(file.readAll().trimmed().toInt(), SIGKILL);
}

void tst_Shell::shellThatCrashes()
{
    const Outcome outcome = call(Cmd3, "echo before; kill -SEGV $$");
    // Finished in time: the exit code is the number of the signal.
    QCOMPARE(outcome.exitCode, 11);
    QVERIFY(!outcome.result);
    QCOMPARE(outcome.out, QStringLiteral("before\n"));
    QCOMPARE(outcome.lines.last(),
             debugLine(Cmd3,
                       "[返回cmd指令结果:before\n cmd.exitCode:11 "
                       "cmd.errorString:Process crashed cmd.readAllStandardError:]"));
    const Outcome alsoFinished = call(Cmd, "kill -KILL $$");
    QVERIFY(alsoFinished.result);
    QCOMPARE(alsoFinished.out, QStringLiteral("Process crashed"));
}

void tst_Shell::shellThatCannotBeStarted()
{
    if (!TestSupport::canMountPrivately())
        QSKIP("needs a private mount namespace to take /bin/bash away");
    const TestSupport::ChildResult child =
        TestSupport::runInPrivateMounts("mount --bind /dev/null \"$(readlink -f /bin/bash)\"",
                                        TestSupport::helperPath("util_child"), {"run", "true"});
    QVERIFY2(child.endedWith(0), child.report());
    const QByteArrayList lines = child.out.split('\n');
    QCOMPARE(lines.at(0), QByteArray("false"));
    // The code and the text of a process that did not start are Qt's own.
    QVERIFY2(lines.at(1).startsWith("[cmd:true]exitCode:["), lines.at(1));
    QVERIFY2(child.err.contains("[warning][processCmd] [ "), child.err);
    QVERIFY2(lines.at(1).contains("Permission denied"), lines.at(1));
#if QT_VERSION >= QT_VERSION_CHECK(5, 15, 0)
    QVERIFY2(lines.at(1).contains("exitCode:[255]"), lines.at(1));
#endif
}

void tst_Shell::environmentAndDirectoryAreInherited()
{
    qputenv("ZECORE_TEST_VALUE", "inherited");
    const Outcome outcome = call(Cmd, "printf '%s %s' \"$ZECORE_TEST_VALUE\" \"$(pwd -P)\"");
    qunsetenv("ZECORE_TEST_VALUE");
    QCOMPARE(outcome.out, "inherited " + QDir(QDir::currentPath()).canonicalPath());
}

void tst_Shell::fromSeveralThreads()
{
    const Capture capture;
    PublicClass &service = *PublicClass::init();
    std::atomic<int> right{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i, &service, &right] {
            for (int round = 0; round < 5; ++round) {
                QString out;
                const QString text = QString::number(i * 100 + round);
                if (service.processCmd("echo " + text, out, 30000, false) && out == text + '\n')
                    ++right;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(right.load(), 20);
    QCOMPARE(capture.lines().size(), 40);
}

QTEST_GUILESS_MAIN(tst_Shell)
#include "tst_shell.moc"
