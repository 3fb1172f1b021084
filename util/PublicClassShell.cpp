// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "util/PublicClass.h"

#include "core/LogTag_p.h"

#include <QtCore/QProcess>
#include <QtCore/QStringList>

namespace {

using ZeCore::logDebug;
using ZeCore::logWarning;

/// What a shell that finished in time has left.
struct ShellResult
{
    int exitCode = 0;
    QString errorString;
    QByteArray standardOutput;
    QString standardError;

    /// The output as text. The bytes go, so that a flood is not held twice.
    QString takeOutputText()
    {
        QString text = QString::fromLocal8Bit(standardOutput);
        standardOutput.clear();
        return text;
    }
};

enum class StandardError { Read, Ignore };

void logStart(const char *operation, const QString &cmd)
{
    logDebug(operation) << QStringLiteral("[开始执行cmd指令: %1]").arg(cmd);
}

/// Runs @p cmd to its end. After a time-out the shell has been killed and
/// @p failure holds "exitCode:[code]error".
bool runShell(const char *operation, const QString &cmd, int timeoutMs, StandardError channel,
              ShellResult &result, QString &failure)
{
    QProcess shell;
    shell.start(QStringLiteral("/bin/bash"), {QStringLiteral("-c"), cmd});
    if (!shell.waitForFinished(timeoutMs)) {
        const QString error = shell.errorString();
        failure = QStringLiteral("exitCode:[%1]%2").arg(QString::number(shell.exitCode()), error);
        logWarning(operation) << "[" << error << "]";
        shell.close();
        return false;
    }
    result.exitCode = shell.exitCode();
    result.errorString = shell.errorString();
    result.standardOutput = shell.readAllStandardOutput();
    if (channel == StandardError::Read)
        result.standardError = QString::fromLocal8Bit(shell.readAllStandardError());
    shell.close();
    return true;
}

QString inCommand(const QString &cmd, const QString &text)
{
    return QStringLiteral("[cmd:%1]%2").arg(cmd, text);
}

enum class LineFeeds { Keep, Blank };

void logResult(const char *operation, const QString &output, const ShellResult &result,
               LineFeeds lineFeeds)
{
    const QString code = QString::number(result.exitCode);
    QString line = result.exitCode == 0
        ? QStringLiteral("[返回cmd指令结果:%1 cmd.exitCode:%2 cmd.readAllStandardError:%3]")
              .arg(output, code, result.standardError)
        : QStringLiteral("[返回cmd指令结果:%1 cmd.exitCode:%2 cmd.errorString:%3 "
                         "cmd.readAllStandardError:%4]")
              .arg(output, code, result.errorString, result.standardError);
    if (lineFeeds == LineFeeds::Blank)
        line.replace(QLatin1Char('\n'), QLatin1Char(' '));
    logDebug(operation) << line;
}

/// What stands in for an empty standard output. A command that succeeds in
/// silence yields the process's default error text, "Unknown error": callers
/// compare against it.
QString outputInstead(const ShellResult &result)
{
    return result.standardError.isEmpty() ? result.errorString : result.standardError;
}

} // namespace

bool PublicClass::processCmd(const QString &cmd, QString &out, int timeoutMs, bool print)
{
    constexpr auto operation = "processCmd";
    const QString command = cmd; // out may be the same object
    logStart(operation, command);

    ShellResult result;
    QString failure;
    if (!runShell(operation, command, timeoutMs, StandardError::Read, result, failure)) {
        out = inCommand(command, failure);
        return false;
    }

    out = result.takeOutputText();
    if (result.exitCode == 0 && !print)
        logDebug(operation)
            << QStringLiteral("[返回cmd指令结果:DoNotPrint: cmd.exitCode:%1]").arg(0);
    else
        logResult(operation, out, result, LineFeeds::Blank);
    if (out.isEmpty())
        out = outputInstead(result);
    return true;
}

bool PublicClass::processCmd2(const QString &cmd, QByteArray &out, int timeoutMs)
{
    constexpr auto operation = "processCmd2";
    logStart(operation, cmd);

    ShellResult result;
    QString failure;
    if (!runShell(operation, cmd, timeoutMs, StandardError::Read, result, failure)) {
        out = failure.toLocal8Bit();
        return false;
    }

    out = result.standardOutput;
    logResult(operation, QString::fromUtf8(out), result, LineFeeds::Keep);
    if (out.isEmpty())
        out = outputInstead(result).toLocal8Bit();
    return true;
}

bool PublicClass::processCmd3(const QString &cmd, QString &out, int timeoutMs, int &exitCode,
                              bool print)
{
    constexpr auto operation = "processCmd3";
    const QString command = cmd; // out may be the same object
    if (print)
        logStart(operation, command);

    ShellResult result;
    QString failure;
    if (!runShell(operation, command, timeoutMs, StandardError::Read, result, failure)) {
        out = failure;
        return false;
    }

    exitCode = result.exitCode;
    out = result.takeOutputText();
    logResult(operation, out, result, LineFeeds::Keep);
    if (out.isEmpty())
        out = outputInstead(result);
    return result.exitCode == 0;
}

bool PublicClass::cmdHalSh(const QString &cmd, QString &out, int timeoutMs)
{
    constexpr auto operation = "cmdHalSh";
    const QString command = cmd; // out may be the same object
    logStart(operation, command);

    ShellResult result;
    QString failure;
    if (!runShell(operation, command, timeoutMs, StandardError::Ignore, result, failure)) {
        out = inCommand(command, failure);
        return false;
    }

    out = result.takeOutputText();
    if (out == QLatin1String("failed")) {
        out = inCommand(command, out);
        logWarning(operation) << out;
        return false;
    }
    return true;
}
