// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "util/PublicClass.h"

#include "core/LogTag_p.h"
#include "core/ProcessStart_p.h"
#include "util/CommandLine_p.h"
#include "util/SettingsRoom_p.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QProcess>
#include <QtCore/QSettings>
#include <QtCore/QStringList>

namespace {

using ZeCore::logDebug;
using ZeCore::logWarning;

constexpr int pgrepTimeoutMs = 20000;

/// As QProcess::execute(): the exit code, -1 after a crash, -2 if it cannot be started.
int execute(const QString &program, const QStringList &arguments)
{
    constexpr int crashed = -1;
    constexpr int notStarted = -2;
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    ZeCore::startProcess(process, program, arguments);
    if (!process.waitForFinished(-1) || process.error() == QProcess::FailedToStart)
        return notStarted;
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : crashed;
}

/// Starts @p command without a shell and without waiting for it.
bool startDetached(const QString &command)
{
    QStringList words = ZeCore::splitCommand(command);
    if (words.isEmpty())
        return false;
    const QString program = words.takeFirst();
    return QProcess::startDetached(program, words);
}

} // namespace

int PublicClass::getPid(const QString &name)
{
    constexpr auto operation = "getPid";
    QString output;
    if (!processCmd(QStringLiteral("pgrep %1 -x").arg(name), output, pgrepTimeoutMs, true)) {
        logWarning(operation) << "[" << getLastError() << "]";
        return 0;
    }
    // Several ids stand on one line each, so they have line feeds between them
    // and no number comes out. A blank comes with "Unknown error", for no match.
    const QLatin1Char blank(' ');
    QString id = output.trimmed();
    if (id.contains(blank)) {
        logWarning(operation) << "[!!!!!!!!!!!more pidStr:" << id << "]";
        id.truncate(id.indexOf(blank));
    }
    return id.toInt();
}

bool PublicClass::killPid(int pid)
{
    constexpr auto operation = "killPid";
    // kill would take these for whole process groups.
    if (pid < 1) {
        logWarning(operation) << "[pid <=0 ]";
        return false;
    }
    const QString id = QString::number(pid);
    const int code = execute(QStringLiteral("kill"), {QStringLiteral("-9"), id});
    if (code != 0) {
        logWarning(operation) << QStringLiteral("[kill pid failed：%1 execute ret: %2]")
                                     .arg(id, QString::number(code));
        return false;
    }
    logDebug(operation)
        << QStringLiteral("[kill pid sucess:%1 execute ret: %2]").arg(id, QString::number(code));
    return true;
}

bool PublicClass::rebootSytem()
{
    const QString command = QStringLiteral("sudo reboot");
    logDebug("rebootSytem") << "[" << command << "]";
    return startDetached(command);
}

void PublicClass::rebootCmd(const QString &cmd)
{
    logDebug("rebootCmd") << "cmd:" << cmd;
    startDetached(cmd); // the program ends in any case
    QCoreApplication::exit(0);
}

void PublicClass::rebootSelf()
{
    const QString program = QCoreApplication::applicationFilePath();
    const QString directory = QCoreApplication::applicationDirPath();
    logDebug("rebootSelf") << "[program:" << program << "Directory:" << directory << "]";
    // The list goes on with the program's own name in it: callers rely on it.
    QProcess::startDetached(program, QCoreApplication::arguments(), directory);
    QCoreApplication::exit(0);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): callers are built against it
void PublicClass::openDir(QString /*dir*/)
{
    logWarning("openDir")
        << "Fail to open file: ShellExecuteA is only valid under the window platform";
}

void PublicClass::setAutoBootSoftware(bool on)
{
    const QString key = QCoreApplication::applicationName();
    if (key.isEmpty()) // without an application; QSettings would remove every key
        return;
    QSettings settings(
        QStringLiteral("HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Run"),
        QSettings::NativeFormat);
    QString program = QCoreApplication::applicationFilePath();
    program.replace(QLatin1Char('/'), QLatin1Char('\\'));
    if (!ZeCore::hasRoomForSettings(settings.fileName(), key.size() + program.size()))
        return;
    if (on)
        settings.setValue(key, program);
    else
        settings.remove(key);
}

void PublicClass::autoBootSoftware(bool on)
{
    setAutoBootSoftware(on);
}
