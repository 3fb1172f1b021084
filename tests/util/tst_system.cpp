// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "core/Sync_p.h"
#include "support/Capture.h"
#include "support/Child.h"
#include "support/Unprivileged.h"
#include "util/CommandLine_p.h"
#include "util/PublicClass.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QRandomGenerator>
#include <QtCore/QSettings>
#include <QtCore/QTemporaryDir>
#include <QtCore/QThread>
#include <QtTest/QTest>

#include <limits>
#include <memory>
#include <thread>
#include <unistd.h>
#include <vector>

using TestSupport::Capture;
using TestSupport::ChildOptions;
using TestSupport::ChildResult;
using TestSupport::helperPath;
using TestSupport::runChild;
using TestSupport::Unprivileged;

namespace {

constexpr int limitMs = 30000;

/// A process name that nothing else on the machine has, of at most 15 characters.
QString uniqueName()
{
    const quint32 number = QRandomGenerator::global()->generate();
    return QStringLiteral("zn") + QString::number(number, 36) + QStringLiteral("x");
}

/// A sleeping process under a name of the caller's choice; gone with the object.
class Napper
{
public:
    Napper(const QTemporaryDir &dir, const QString &name)
    {
        // The system takes the name of a process from the path it is started by.
        const QString link = dir.filePath(name);
        if (!QFile::exists(link))
            QFile::link(helperPath(QStringLiteral("napper")), link);
        m_process.start(link, QStringList());
        m_ready = m_process.waitForReadyRead(limitMs);
    }

    ~Napper()
    {
        m_process.closeWriteChannel();
        m_process.waitForFinished(limitMs);
    }

    Q_DISABLE_COPY(Napper)

    bool isReady() const { return m_ready; }
    int id() const { return static_cast<int>(m_process.processId()); }
    bool wasKilled()
    {
        return m_process.waitForFinished(limitMs) && m_process.exitStatus() == QProcess::CrashExit
            && m_process.exitCode() == 9;
    }
    bool isRunning() { return !m_process.waitForFinished(50); }

private:
    QProcess m_process;
    bool m_ready = false;
};

/// A directory of scripts that take the place of the system's programs.
class StandIns
{
public:
    bool add(const QString &name, const QByteArray &lastCommands)
    {
        QFile script(m_dir.filePath(name));
        if (!script.open(QIODevice::WriteOnly))
            return false;
        script.write("#!/bin/sh\n{ printf '%s\\n' \"$@\"; echo end; } >\"$ZECORE_STAND_INS/"
                     "calls\"\n"
                     + lastCommands + "\n");
        return script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    ChildResult run(const QStringList &arguments) const
    {
        ChildOptions options;
        options.environment = QStringList{QStringLiteral("PATH=") + m_dir.path(),
                                          QStringLiteral("ZECORE_STAND_INS=") + m_dir.path()};
        return runChild(helperPath(QStringLiteral("systemprobe")), arguments, options);
    }

    /// The arguments that a stand-in was called with, then "end".
    QStringList calls() const
    {
        QFile file(m_dir.filePath(QStringLiteral("calls")));
        if (!file.open(QIODevice::ReadOnly))
            return QStringList();
        QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
        lines.removeAll(QString());
        return lines;
    }

    /// The same for a stand-in that was started and not waited for.
    QStringList awaitCalls() const
    {
        QElapsedTimer timer;
        timer.start();
        while (calls().value(calls().size() - 1) != QLatin1String("end")
               && timer.elapsed() < limitMs)
            QThread::msleep(10);
        return calls();
    }

private:
    QTemporaryDir m_dir;
};

/// The lines that a probe has printed, but for those of the service's life.
QStringList printed(const ChildResult &result)
{
    QStringList lines;
    const QStringList all = QString::fromUtf8(result.out).split(QLatin1Char('\n'));
    for (const QString &line : all) {
        if (!line.isEmpty() && !line.contains(QLatin1String("PublicClass]")))
            lines << line;
    }
    return lines;
}

QByteArray contentsOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot be opened");
}

QString autoBootFile()
{
    return QStringLiteral(R"(HKEY_CURRENT_USER\Software\Microsoft\Windows\CurrentVersion\Run)");
}

/// What an event that is posted before a wait of @p seconds sees on this thread.
struct Wait
{
    qint64 servedMs = -1;
    qint64 returnedMs = -1;
};

Wait waitWithEvent(int seconds)
{
    Wait wait;
    QElapsedTimer timer;
    timer.start();
    QObject context;
    QMetaObject::invokeMethod(
        &context, [&] { wait.servedMs = timer.elapsed(); }, Qt::QueuedConnection);
    if (seconds > 0)
        PublicClass::init()->waitSTime(seconds);
    else
        PublicClass::init()->waitMSTime(1);
    wait.returnedMs = timer.elapsed();
    return wait;
}

} // namespace

class tst_System : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void getPidNone();
    void getPidOne();
    void getPidTwo();
    void getPidMatchesWholeNamesOnly();
    void getPidLongName();
    void getPidOutput_data();
    void getPidOutput();
    void getPidWithoutShell();
    void killPidOwnChild();
    void killPidUnknown();
    void killPidOfAnotherUser();
    void killPidRefused_data();
    void killPidRefused();
    void killPidStandIn_data();
    void killPidStandIn();
    void killPidWithoutKill();
    void rebootSytem();
    void rebootSytemWithoutSudo();
    void rebootCmd_data();
    void rebootCmd();
    void rebootCmdFailed_data();
    void rebootCmdFailed();
    void splitCommand_data();
    void splitCommand();
    void rebootSelf();
    void openDir();
    void autoBoot_data();
    void autoBoot();
    void autoBootSame();
    void autoBootWithoutApplication();
    void waitsServeEvents_data();
    void waitsServeEvents();

private:
    QSharedPointer<PublicClass> m_service = PublicClass::init();
};

void tst_System::getPidNone()
{
    const QString name = uniqueName();
    Capture capture;
    QCOMPARE(m_service->getPid(name), 0);
    const QStringList lines = capture.lines();
    QCOMPARE(lines.size(), 3);
    QCOMPARE(lines.at(0),
             QStringLiteral("D [debug][processCmd] [开始执行cmd指令: pgrep %1 -x]").arg(name));
    QVERIFY(lines.at(1).startsWith(QStringLiteral("D [debug][processCmd] [返回cmd指令结果:")));
    QCOMPARE(lines.at(2),
             QStringLiteral("W [warning][getPid] [!!!!!!!!!!!more pidStr: Unknown error ]"));
}

void tst_System::getPidOne()
{
    const QTemporaryDir dir;
    const QString name = uniqueName();
    const Napper napper(dir, name);
    QVERIFY(napper.isReady());
    Capture capture;
    QCOMPARE(m_service->getPid(name), napper.id());
    QCOMPARE(capture.lines().size(), 2); // those of the command, no warning
    QCOMPARE(capture.lines().at(1),
             QStringLiteral("D [debug][processCmd] [返回cmd指令结果:%1  cmd.exitCode:0 "
                            "cmd.readAllStandardError:]")
                 .arg(napper.id()));
}

void tst_System::getPidTwo()
{
    const QTemporaryDir dir;
    const QString name = uniqueName();
    const Napper one(dir, name);
    const Napper two(dir, name);
    QVERIFY(one.isReady() && two.isReady());
    Capture capture;
    QCOMPARE(m_service->getPid(name), 0);
    QCOMPARE(capture.lines().size(), 2);
}

void tst_System::getPidMatchesWholeNamesOnly()
{
    const Capture quiet;
    const QTemporaryDir dir;
    const QString name = uniqueName();
    const Napper napper(dir, name);
    QVERIFY(napper.isReady());
    QCOMPARE(m_service->getPid(name.left(name.size() - 1)), 0);
    QCOMPARE(m_service->getPid(name.left(name.size() - 1) + QLatin1Char('.')), napper.id());
}

void tst_System::getPidLongName()
{
    const Capture quiet;
    const QTemporaryDir dir;
    const QString name = uniqueName().leftJustified(16, QLatin1Char('y'));
    const Napper napper(dir, name);
    QVERIFY(napper.isReady());
    QCOMPARE(m_service->getPid(name), 0);
    QCOMPARE(m_service->getPid(name.left(15)), napper.id());
}

void tst_System::getPidOutput_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("more"); // the text of the warning; empty for none
    QTest::addColumn<int>("expected");
    QTest::newRow("number") << "4711"
                            << "" << 4711;
    QTest::newRow("blanks around") << "  4711 \\t\\n"
                                   << "" << 4711;
    QTest::newRow("two numbers in a line") << "12 34"
                                           << "12 34" << 12;
    QTest::newRow("word first") << "x 34"
                                << "x 34" << 0;
    QTest::newRow("two lines") << "12\\n34"
                               << "" << 0;
    QTest::newRow("two lines with blanks") << "12 \\n 34"
                                           << "12 \n 34" << 12;
    QTest::newRow("tab") << "12\\t34"
                         << "" << 0;
    QTest::newRow("no number") << "12x"
                               << "" << 0;
    QTest::newRow("greatest int") << "2147483647"
                                  << "" << 2147483647;
    QTest::newRow("beyond int") << "2147483648"
                                << "" << 0;
}

void tst_System::getPidOutput()
{
    QFETCH(QString, output);
    QFETCH(QString, more);
    QFETCH(int, expected);
    // The name goes into the shell's command line as it is.
    const QString name = QStringLiteral("%1; printf '%2'; :").arg(uniqueName(), output);
    Capture capture;
    QCOMPARE(m_service->getPid(name), expected);
    const QStringList lines = capture.lines();
    QCOMPARE(lines.size(), more.isEmpty() ? 2 : 3);
    if (!more.isEmpty())
        QCOMPARE(lines.last(),
                 QStringLiteral("W [warning][getPid] [!!!!!!!!!!!more pidStr: ") + more
                     + QStringLiteral(" ]"));
}

void tst_System::getPidWithoutShell()
{
    if (!TestSupport::canMountPrivately())
        QSKIP("cannot hide the shell here");
    const ChildResult result = TestSupport::runInPrivateMounts(
        QStringLiteral("mount --bind /dev/null /bin/bash"),
        helperPath(QStringLiteral("systemprobe")), {QStringLiteral("getPid"), uniqueName()});
    QVERIFY2(result.endedWith(0), result.report());
    const QStringList lines = printed(result);
    QCOMPARE(lines.size(), 4);
    QVERIFY(lines.at(1).startsWith(QStringLiteral("W [warning][processCmd] [ ")));
    // What an earlier failure left, not the reason of this one.
    QCOMPARE(lines.at(2), QStringLiteral("W [warning][getPid] [ Error:PublicClass::earlier ]"));
    QCOMPARE(lines.at(3), QStringLiteral("result 0"));
}

void tst_System::killPidOwnChild()
{
    const QTemporaryDir dir;
    Napper napper(dir, uniqueName());
    QVERIFY(napper.isReady());
    Capture capture;
    QVERIFY(m_service->killPid(napper.id()));
    QCOMPARE(capture.lines(),
             QStringList{QStringLiteral("D [debug][killPid] [kill pid sucess:%1 execute ret: 0]")
                             .arg(napper.id())});
    QVERIFY(napper.wasKilled());
}

void tst_System::killPidUnknown()
{
    const QTemporaryDir dir;
    auto napper = std::make_unique<Napper>(dir, uniqueName());
    QVERIFY(napper->isReady());
    const int id = napper->id();
    napper.reset(); // ended and waited for, so its id names nothing
    Capture capture;
    QVERIFY(!m_service->killPid(id));
    QCOMPARE(
        capture.lines(),
        QStringList{
            QStringLiteral("W [warning][killPid] [kill pid failed：%1 execute ret: 1]").arg(id)});
}

void tst_System::killPidOfAnotherUser()
{
    if (::geteuid() != 0)
        QSKIP("only root can start a process of another user");
    const QTemporaryDir dir;
    Napper napper(dir, uniqueName());
    QVERIFY(napper.isReady());
    Capture capture;
    {
        const Unprivileged unprivileged;
        QVERIFY(!m_service->killPid(napper.id()));
    }
    QCOMPARE(capture.lines(),
             QStringList{QStringLiteral("W [warning][killPid] [kill pid failed：%1 execute ret: 1]")
                             .arg(napper.id())});
    QVERIFY(napper.isRunning());
}

void tst_System::killPidRefused_data()
{
    QTest::addColumn<int>("id");
    QTest::newRow("0") << 0;
    QTest::newRow("-1") << -1;
    QTest::newRow("-5") << -5;
    QTest::newRow("minimum") << std::numeric_limits<int>::min();
}

void tst_System::killPidRefused()
{
    QFETCH(int, id);
    StandIns standIns;
    QVERIFY(standIns.add(QStringLiteral("kill"), "exit 0"));
    const ChildResult result = standIns.run({QStringLiteral("killPid"), QString::number(id)});
    QVERIFY2(result.endedWith(0), result.report());
    QCOMPARE(printed(result), (QStringList{"W [warning][killPid] [pid <=0 ]", "result false"}));
    QCOMPARE(standIns.calls(), QStringList());
}

void tst_System::killPidStandIn_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("result");
    QTest::newRow("success") << QByteArray("exit 0")
                             << "D [debug][killPid] [kill pid sucess:4242 execute ret: 0]"
                             << "result true";
    QTest::newRow("failure") << QByteArray("exit 1")
                             << "W [warning][killPid] [kill pid failed：4242 execute ret: 1]"
                             << "result false";
    QTest::newRow("great exit code")
        << QByteArray("exit 255") << "W [warning][killPid] [kill pid failed：4242 execute ret: 255]"
        << "result false";
    QTest::newRow("crash") << QByteArray("kill -9 $$")
                           << "W [warning][killPid] [kill pid failed：4242 execute ret: -1]"
                           << "result false";
}

void tst_System::killPidStandIn()
{
    QFETCH(QByteArray, script);
    QFETCH(QString, line);
    QFETCH(QString, result);
    StandIns standIns;
    QVERIFY(standIns.add(QStringLiteral("kill"), script));
    const ChildResult child = standIns.run({QStringLiteral("killPid"), QStringLiteral("4242")});
    QVERIFY2(child.endedWith(0), child.report());
    QCOMPARE(printed(child), (QStringList{line, result}));
    QCOMPARE(standIns.calls(), (QStringList{"-9", "4242", "end"}));
}

void tst_System::killPidWithoutKill()
{
    const StandIns standIns;
    const ChildResult child = standIns.run({QStringLiteral("killPid"), QStringLiteral("4242")});
    QVERIFY2(child.endedWith(0), child.report());
    QCOMPARE(
        printed(child),
        (QStringList{QStringLiteral("W [warning][killPid] [kill pid failed：4242 execute ret: -2]"),
                     QStringLiteral("result false")}));
}

void tst_System::rebootSytem()
{
    StandIns standIns;
    QVERIFY(standIns.add(QStringLiteral("sudo"), "exit 0"));
    const ChildResult child = standIns.run({QStringLiteral("rebootSytem")});
    QVERIFY2(child.endedWith(0), child.report());
    QCOMPARE(printed(child),
             (QStringList{"D [debug][rebootSytem] [ sudo reboot ]", "result true"}));
    QCOMPARE(standIns.awaitCalls(), (QStringList{"reboot", "end"}));
}

void tst_System::rebootSytemWithoutSudo()
{
    const StandIns standIns;
    const ChildResult child = standIns.run({QStringLiteral("rebootSytem")});
    QVERIFY2(child.endedWith(0), child.report());
    QCOMPARE(printed(child),
             (QStringList{"D [debug][rebootSytem] [ sudo reboot ]", "result false"}));
}

void tst_System::rebootCmd_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("plain") << "restart now" << QStringList{"now"};
    QTest::newRow("no shell") << "restart $HOME ; * 'a b'"
                              << QStringList{"$HOME", ";", "*", "'a", "b'"};
    QTest::newRow("quotes") << "restart \"two words\" \"\"\"q\"\"\""
                            << QStringList{"two words", "\"q\""};
    QTest::newRow("substitution marks") << "restart %1" << QStringList{"%1"};
}

void tst_System::rebootCmd()
{
    QFETCH(QString, command);
    QFETCH(QStringList, arguments);
    StandIns standIns;
    QVERIFY(standIns.add(QStringLiteral("restart"), "exit 0"));
    const ChildResult child = standIns.run({QStringLiteral("rebootCmd"), command});
    QVERIFY2(child.endedWith(0), child.report());
    QCOMPARE(printed(child),
             (QStringList{QStringLiteral("D [debug][rebootCmd] cmd: ") + command,
                          QStringLiteral("loop ended with 0")}));
    QCOMPARE(standIns.awaitCalls(), arguments << QStringLiteral("end"));
}

void tst_System::rebootCmdFailed_data()
{
    QTest::addColumn<QString>("command");
    QTest::newRow("no such program") << "nothing here";
    QTest::newRow("empty") << "";
    QTest::newRow("blank") << "  ";
    QTest::newRow("empty quotes") << "\"\"";
}

void tst_System::rebootCmdFailed()
{
    QFETCH(QString, command);
    const StandIns standIns;
    const ChildResult child = standIns.run({QStringLiteral("rebootCmd"), command});
    QVERIFY2(child.endedWith(0), child.report());
    QCOMPARE(printed(child),
             (QStringList{QStringLiteral("D [debug][rebootCmd] cmd: ") + command,
                          QStringLiteral("loop ended with 0")}));
}

void tst_System::splitCommand_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QStringList>("words");
    QTest::newRow("empty") << "" << QStringList{};
    QTest::newRow("blanks only") << " \t\n" << QStringList{};
    QTest::newRow("one word") << "reboot" << QStringList{"reboot"};
    QTest::newRow("words") << "sudo reboot now" << QStringList{"sudo", "reboot", "now"};
    QTest::newRow("white space of all kinds") << "  a \t b\n\nc  " << QStringList{"a", "b", "c"};
    QTest::newRow("non-breaking space") << QStringLiteral("a\u00a0b") << QStringList{"a", "b"};
    QTest::newRow("quoted word") << "a \"b c\" d" << QStringList{"a", "b c", "d"};
    QTest::newRow("quotes within a word") << "a\"b c\"d" << QStringList{"ab cd"};
    QTest::newRow("quote opens two") << "\"a b\"\"c d\"" << QStringList{"a bc d"};
    QTest::newRow("empty quotes vanish") << "a \"\" b" << QStringList{"a", "b"};
    QTest::newRow("only empty quotes") << "\"\"" << QStringList{};
    QTest::newRow("literal quote") << "\"\"\"" << QStringList{"\""};
    QTest::newRow("literal quotes") << "a \"\"\"b\"\"\" c" << QStringList{"a", "\"b\"", "c"};
    QTest::newRow("literal quotes do not hold together")
        << "\"\"\"a b\"\"\"" << QStringList{"\"a", "b\""};
    QTest::newRow("four quotes open") << "\"\"\"\"a b\"" << QStringList{"\"a b"};
    QTest::newRow("five quotes") << "a\"\"\"\"\"b c" << QStringList{"a\"b", "c"};
    QTest::newRow("six quotes") << "\"\"\"\"\"\"" << QStringList{"\"\""};
    QTest::newRow("seven quotes") << "\"\"\"\"\"\"\"a b" << QStringList{"\"\"a b"};
    QTest::newRow("unclosed") << "a \"b c" << QStringList{"a", "b c"};
    QTest::newRow("quote at the end") << "a b\"" << QStringList{"a", "b"};
    QTest::newRow("single quotes are nothing") << "'a b'" << QStringList{"'a", "b'"};
    QTest::newRow("backslashes are nothing")
        << "a\\ b \\\"c d\"" << QStringList{"a\\", "b", "\\c d"};
    QTest::newRow("blanks in quotes stay") << "\" a \"" << QStringList{" a "};
    QTest::newRow("a quoted blank is a word") << "a \" \" b" << QStringList{"a", " ", "b"};
}

void tst_System::splitCommand()
{
    QFETCH(QString, command);
    QFETCH(QStringList, words);
    QCOMPARE(ZeCore::splitCommand(command), words);
    QCOMPARE(ZeCore::Detail::splitCommandByHand(command), words);
}

void tst_System::rebootSelf()
{
    const QTemporaryDir dir;
    const QString report = dir.filePath(QStringLiteral("report"));
    const QString probe = QFile(helperPath(QStringLiteral("systemprobe"))).fileName();
    ChildOptions options;
    options.workingDirectory = dir.path();
    const ChildResult child = runChild(
        probe, {QStringLiteral("rebootSelf"), report, QStringLiteral("two words")}, options);
    QVERIFY2(child.endedWith(0), child.report());
    const QString directory = QDir(QCoreApplication::applicationDirPath()).canonicalPath();
    QCOMPARE(printed(child).mid(0, 2),
             (QStringList{QStringLiteral("D [debug][rebootSelf] [program: %1 Directory: %2 ]")
                              .arg(directory + QStringLiteral("/systemprobe"), directory),
                          QStringLiteral("loop ended with 0")}));

    const QStringList expected{directory,
                               directory + QStringLiteral("/systemprobe"),
                               probe,
                               QStringLiteral("rebootSelf"),
                               report,
                               QStringLiteral("two words"),
                               QStringLiteral("end"),
                               QString()};
    QTRY_COMPARE_WITH_TIMEOUT(QString::fromUtf8(contentsOf(report)).split(QLatin1Char('\n')),
                              expected, limitMs);
    QTest::qWait(300); // once only
    QCOMPARE(QString::fromUtf8(contentsOf(report)).split(QLatin1Char('\n')), expected);
}

void tst_System::openDir()
{
    Capture capture;
    m_service->openDir(QStringLiteral("/tmp"));
    QCOMPARE(capture.lines(),
             QStringList{QStringLiteral("W [warning][openDir] Fail to open file: ShellExecuteA is "
                                        "only valid under the window platform")});
}

void tst_System::autoBoot_data()
{
    QTest::addColumn<QString>("operation");
    QTest::newRow("setAutoBootSoftware") << "setAutoBootSoftware";
    QTest::newRow("autoBootSoftware") << "autoBootSoftware";
}

void tst_System::autoBoot()
{
    QFETCH(QString, operation);
    const QTemporaryDir dir;
    const QString file = dir.filePath(autoBootFile());
    {
        QSettings settings(file, QSettings::IniFormat);
        settings.setValue(QStringLiteral("other"), 1);
    }
    ChildOptions options;
    options.workingDirectory = dir.path();
    const QString probe = helperPath(QStringLiteral("systemprobe"));

    QVERIFY(runChild(probe, {operation, QStringLiteral("on")}, options).endedWith(0));
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{autoBootFile()});
    {
        const QSettings settings(file, QSettings::IniFormat);
        QCOMPARE(settings.allKeys(), (QStringList{"auto boot", "other"}));
        QString path = QDir(QCoreApplication::applicationDirPath()).canonicalPath()
            + QStringLiteral("/systemprobe");
        path.replace(QLatin1Char('/'), QLatin1Char('\\'));
        QCOMPARE(settings.value(QStringLiteral("auto boot")), QVariant(path));
    }

    QVERIFY(runChild(probe, {operation, QStringLiteral("off")}, options).endedWith(0));
    const QSettings settings(file, QSettings::IniFormat);
    QCOMPARE(settings.allKeys(), QStringList{"other"});

    QVERIFY(runChild(probe, {operation, QStringLiteral("off")}, options).endedWith(0));
    QCOMPARE(settings.allKeys(), QStringList{"other"});
}

void tst_System::autoBootSame()
{
    const QTemporaryDir dirs[2];
    const QStringList operations{"setAutoBootSoftware", "autoBootSoftware"};
    for (int i = 0; i < 2; ++i) {
        ChildOptions options;
        options.workingDirectory = dirs[i].path();
        const ChildResult child = runChild(helperPath(QStringLiteral("systemprobe")),
                                           {operations.at(i), QStringLiteral("on")}, options);
        QVERIFY2(child.endedWith(0), child.report());
        QCOMPARE(printed(child), QStringList());
    }
    const QByteArray first = contentsOf(dirs[0].filePath(autoBootFile()));
    QVERIFY(first.startsWith("[General]\nauto%20boot="));
    QCOMPARE(contentsOf(dirs[1].filePath(autoBootFile())), first);
}

void tst_System::autoBootWithoutApplication()
{
    const QTemporaryDir dir;
    const QByteArray contents = "[General]\nother=1\n";
    QFile file(dir.filePath(autoBootFile()));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(contents);
    file.close();
    ChildOptions options;
    options.workingDirectory = dir.path();
    const ChildResult child = runChild(helperPath(QStringLiteral("systemprobe")),
                                       {QStringLiteral("autoBootWithoutApplication")}, options);
    QVERIFY2(child.endedWith(0), child.report());
    QCOMPARE(contentsOf(file.fileName()), contents);
}

void tst_System::waitsServeEvents_data()
{
    QTest::addColumn<QString>("where");
    QTest::addColumn<int>("seconds");
    QTest::newRow("main thread, waitMSTime") << "main" << 0;
    QTest::newRow("main thread, waitSTime") << "main" << 1;
    QTest::newRow("QThread without a loop, waitMSTime") << "qthread" << 0;
    QTest::newRow("QThread without a loop, waitSTime") << "qthread" << 1;
    QTest::newRow("foreign thread, waitMSTime") << "foreign" << 0;
    QTest::newRow("foreign thread, waitSTime") << "foreign" << 1;
}

void tst_System::waitsServeEvents()
{
    QFETCH(QString, where);
    QFETCH(int, seconds);
    Wait wait;
    if (where == QLatin1String("main")) {
        wait = waitWithEvent(seconds);
    } else if (where == QLatin1String("qthread")) {
        const std::unique_ptr<QThread> thread(QThread::create([&wait, seconds] {
            const ZeCore::ThreadEnd end(&wait);
            wait = waitWithEvent(seconds);
        }));
        thread->start();
        QVERIFY(thread->wait(limitMs));
        ZeCore::threadJoined(&wait);
    } else {
        std::thread thread([&wait, seconds] { wait = waitWithEvent(seconds); });
        thread.join();
    }
    QVERIFY2(wait.servedMs >= 0, "the event was not served");
    if (seconds > 0) { // in the first of ten slices of 100 ms
        QVERIFY(wait.servedMs >= 99);
        QVERIFY(wait.returnedMs - wait.servedMs >= 890);
    }
}

QTEST_GUILESS_MAIN(tst_System)
#include "tst_system.moc"
