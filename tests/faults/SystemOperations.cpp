// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "faults/Operations.h"

#include "util/PublicClass.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>

#include <cerrno>
#include <csignal>
#include <utility>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Faults {

namespace {

PublicClass &utility()
{
    return *PublicClass::init();
}

void createService(Trial & /*trial*/)
{
    PublicClass::init();
}

void nothing(Trial & /*trial*/) { }

QStringList texts(const QVariant &value)
{
    return value.toStringList();
}

using Command = std::function<bool(const QString &command, QString &out)>;

/// What a command has said may be incomplete if Qt could not read it, but is not
/// anything else. value holds the result and the output.
Operation command(const char *name, const char *failure, const Command &run)
{
    return {name, nothing,
            [run](Trial &trial) {
                QString out;
                const bool result = run("echo one; echo two >&2", out);
                trial.value = QStringList{result ? "true" : "false", out};
            },
            [failure](Trial &trial) {
                const QString out = texts(trial.value).at(1);
                if (texts(trial.value).at(0) == "true") {
                    if (out == "one\n")
                        return;
                    trial.requireReason();
                    // Standard error or Qt's text stands in for what is empty.
                    trial.require(out.isEmpty() || out == "two\n" || out.contains("rror")
                                      || QString("one\n").startsWith(out) || out.contains("ommand"),
                                  "the output is " + out);
                } else {
                    trial.requireReason();
                    // The exit code of a process that cannot be waited for is any.
                    trial.require(out.startsWith(failure) || out.contains("rror")
                                      || (trial.isDisturbedIn(Control) && out == "one\n"),
                                  "the text is " + out);
                }
            },
            createService};
}

Operation commandTimeOut()
{
    Operation operation{
        "processCmd, out of time", nothing,
        [](Trial &trial) {
            QString out;
            const bool result = utility().processCmd("exec sleep 60", out, 100, true);
            trial.value = QStringList{result ? "true" : "false", out};
        },
        [](Trial &trial) {
            trial.require(texts(trial.value).at(0) == "false" || trial.isDisturbed(),
                          "the result is true");
            if (texts(trial.value).at(0) == "false")
                trial.require(texts(trial.value).at(1).startsWith("[cmd:exec sleep 60]exitCode:["),
                              "the text is " + texts(trial.value).at(1));
        },
        createService};
    operation.waits = true;
    return operation;
}

void putProgram(const QString &path, const QByteArray &commands)
{
    Trial::put(path, "#!/bin/sh\n" + commands + '\n', 0755);
}

/// Makes the trial's directory of programs the only one.
void usePrograms(const Trial &trial)
{
    ::setenv("PATH", QFile::encodeName(trial.path("bin")).constData(), 1);
}

Operation getPid()
{
    return {"getPid",
            [](Trial &trial) {
                putProgram(trial.path("bin/pgrep"), "[ \"$*\" = 'napper -x' ] && echo 4321");
                usePrograms(trial);
            },
            [](Trial &trial) { trial.value = utility().getPid("napper"); },
            [](Trial &trial) {
                if (trial.value.toInt() == 4321)
                    return;
                trial.requireReason();
                trial.require(trial.value.toInt() == 0,
                              "another process: " + trial.value.toString());
            },
            createService};
}

pid_t s_victim = 0;

Operation killPid()
{
    return {"killPid",
            [](Trial & /*trial*/) {
                s_victim = ::fork();
                while (s_victim == 0)
                    ::pause();
            },
            [](Trial &trial) { trial.value = utility().killPid(s_victim); },
            [](Trial &trial) {
                const QString id = QString::number(s_victim);
                if (trial.value.toBool())
                    trial.require(trial.hasLineWith("[kill pid sucess:" + id + " execute ret: 0]"),
                                  "no line");
                else
                    trial.requireFailure({"[kill pid failed：" + id + " execute ret: "});
            },
            createService,
            [](Trial &trial) {
                if (!trial.value.toBool())
                    ::kill(s_victim, SIGKILL);
                ::waitpid(s_victim, nullptr, 0); // a victim that lives makes this hang
            }};
}

QString markPath(const Trial &trial)
{
    return trial.directory() + "/mark";
}

/// Orphans become children of this process, which can wait for them then.
void adoptOrphans(Trial &trial)
{
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    const QByteArray mark = "echo \"$0 $*\" >" + QFile::encodeName(markPath(trial));
    putProgram(trial.path("bin/sudo"), mark);
    putProgram(trial.programPath("suite"), mark);
    usePrograms(trial);
}

void waitForOrphans(Trial & /*trial*/)
{
    while (::waitpid(-1, nullptr, 0) > 0 || errno == EINTR) { }
}

Operation detached(const char *name, Operation::Step act, const QByteArray &call)
{
    Operation operation{name,
                        adoptOrphans,
                        std::move(act),
                        [call](Trial &trial) {
                            const QByteArray mark = Trial::get(markPath(trial));
                            if (!mark.isNull())
                                trial.require(mark.contains(call), "the call was " + mark);
                            if (trial.value == true)
                                trial.require(!mark.isNull(), "it is not started");
                            if (mark.isNull())
                                trial.requireReason();
                            if (trial.value == false)
                                trial.requireReason();
                        },
                        createService,
                        waitForOrphans};
    operation.detaches = true;
    return operation;
}

QString autoStartPath(const Trial &trial)
{
    return trial.path(R"(HKEY_CURRENT_USER\Software\Microsoft\Windows\CurrentVersion\Run)");
}

Operation setAutoBootSoftware(const char *name, bool on)
{
    const QByteArray with = "[General]\nother=kept\nsuite=";
    const QByteArray without = "[General]\nother=kept\n";
    return {name,
            [on, with, without](Trial &trial) {
                Trial::put(autoStartPath(trial), on ? without : with + "here\n");
            },
            [on](Trial & /*trial*/) { utility().setAutoBootSoftware(on); },
            [on, with, without](Trial &trial) {
                QString program = trial.programPath("suite");
                program.replace("/", R"(\\)");
                const QByteArray wanted = on ? with + program.toUtf8() + '\n' : without;
                requireSettings(trial, autoStartPath(trial), wanted);
            },
            createService};
}

Operation initMember()
{
    return {"initMember",
            [](Trial &trial) {
                putProgram(trial.path("bin/hostname"), "echo colibri-imx6");
                usePrograms(trial);
            },
            [](Trial & /*trial*/) {
                utility().appDir = "/base";
                utility().initMember();
            },
            [](Trial &trial) {
                const PublicClass &service = utility();
                trial.require(service.logDir == "/base/appInfo/log", "another directory");
                if (service.zcType == PublicClass::Zc520) {
                    trial.require(service.zcName == "ZC520", "another name: " + service.zcName);
                    return;
                }
                // The output of the command is not known: the other model.
                trial.requireFailure({"_zcType: 1 ZC-Name: ZC930"});
            },
            createService};
}

Operation waitMSTime()
{
    return {"waitMSTime", nothing,
            [](Trial &trial) {
                QElapsedTimer clock;
                clock.start();
                utility().waitMSTime(1);
                trial.value = clock.nsecsElapsed();
            },
            [](Trial &trial) {
                // Whatever becomes of the events, which are served afterwards.
                trial.require(trial.value.toLongLong() >= 1000000, "it does not wait");
            },
            createService};
}

} // namespace

Operations systemOperations()
{
    constexpr int timeoutMs = 8000;
    return {
        command("processCmd", "[cmd:echo one; echo two >&2]exitCode:[",
                [](const QString &text, QString &out) {
                    return utility().processCmd(text, out, timeoutMs, true);
                }),
        command("processCmd2", "exitCode:[",
                [](const QString &text, QString &out) {
                    QByteArray bytes;
                    const bool result = utility().processCmd2(text, bytes, timeoutMs);
                    out = QString::fromUtf8(bytes);
                    return result;
                }),
        command("processCmd3", "exitCode:[",
                [](const QString &text, QString &out) {
                    int exitCode = 0;
                    return utility().processCmd3(text, out, timeoutMs, exitCode, true);
                }),
        command("cmdHalSh", "[cmd:echo one; echo two >&2]exitCode:[",
                [](const QString &text, QString &out) {
                    return utility().cmdHalSh(text, out, timeoutMs);
                }),
        commandTimeOut(),
        getPid(),
        killPid(),
        detached(
            "rebootSytem", [](Trial &trial) { trial.value = utility().rebootSytem(); },
            "/sudo reboot"),
        detached(
            "rebootCmd", [](Trial & /*trial*/) { utility().rebootCmd("sudo -k"); }, "/sudo -k"),
        detached(
            "rebootSelf", [](Trial & /*trial*/) { utility().rebootSelf(); }, "/suite"),
        setAutoBootSoftware("setAutoBootSoftware, on", true),
        setAutoBootSoftware("setAutoBootSoftware, off", false),
        initMember(),
        waitMSTime(),
    };
}

} // namespace Faults
