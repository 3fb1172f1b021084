// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "util/PublicClass.h"

#include "core/LogTag_p.h"
#include "core/ProcessStart_p.h"

#include <QtCore/QProcess>

#include <memory>
#include <utility>

namespace {

using ZeCore::logDebug;
using ZeCore::logWarning;

enum class LineFeeds { Keep, Blank };

/// One run of one command line: what the four operations have in common.
class ShellCommand
{
public:
    /// @p operation is the name in the log lines. The command is copied: callers
    /// may pass the same object for the command and the output.
    ShellCommand(const char *operation, const QString &command)
        : m_operation(operation)
        , m_command(command)
    {
    }

    void logStart() const
    {
        logDebug(m_operation) << QStringLiteral("[开始执行cmd指令: %1]").arg(m_command);
    }

    /// Runs the command to its end. After a time-out, which kills the shell,
    /// failure() tells about it.
    bool run(int timeoutMs)
    {
        auto shell = std::make_unique<QProcess>();
        ZeCore::startProcess(*shell, QStringLiteral("/bin/bash"),
                             {QStringLiteral("-c"), m_command});
        const bool isFinished = shell->waitForFinished(timeoutMs);
        m_exitCode = shell->exitCode();
        m_errorString = shell->errorString();
        if (isFinished) {
            m_standardOutput = shell->readAllStandardOutput();
            m_standardError = QString::fromLocal8Bit(shell->readAllStandardError());
        } else {
            logWarning(m_operation) << "[" << m_errorString << "]";
        }
        ZeCore::endProcess(std::move(shell));
        return isFinished;
    }

    QString failure() const
    {
        return QStringLiteral("exitCode:[%1]%2").arg(QString::number(m_exitCode), m_errorString);
    }

    /// @p text behind the command that it is about.
    QString inCommand(const QString &text) const
    {
        return QStringLiteral("[cmd:%1]%2").arg(m_command, text);
    }

    int exitCode() const { return m_exitCode; }
    const QByteArray &standardOutput() const { return m_standardOutput; }

    /// The output as text. The bytes go, so that a flood is not held twice.
    QString takeOutputText()
    {
        QString text = QString::fromLocal8Bit(m_standardOutput);
        m_standardOutput.clear();
        return text;
    }

    /// What stands in for an empty output. A command that succeeds in silence
    /// yields the process's default error text, "Unknown error": callers compare
    /// against it.
    QString outputInstead() const
    {
        return m_standardError.isEmpty() ? m_errorString : m_standardError;
    }

    void logResult(const QString &output, LineFeeds lineFeeds) const
    {
        QString line = resultLine(output);
        if (lineFeeds == LineFeeds::Blank)
            line.replace(QLatin1Char('\n'), QLatin1Char(' '));
        logDebug(m_operation) << line;
    }

    /// The result without the output, which the caller does not want to be seen.
    void logResultWithoutOutput() const
    {
        logDebug(m_operation)
            << QStringLiteral("[返回cmd指令结果:DoNotPrint: cmd.exitCode:%1]").arg(m_exitCode);
    }

private:
    QString resultLine(const QString &output) const
    {
        const QString code = QString::number(m_exitCode);
        if (m_exitCode == 0) {
            return QStringLiteral(
                       "[返回cmd指令结果:%1 cmd.exitCode:%2 cmd.readAllStandardError:%3]")
                .arg(output, code, m_standardError);
        }
        return QStringLiteral("[返回cmd指令结果:%1 cmd.exitCode:%2 cmd.errorString:%3 "
                              "cmd.readAllStandardError:%4]")
            .arg(output, code, m_errorString, m_standardError);
    }

    const char *m_operation;
    QString m_command;
    int m_exitCode = 0;
    QString m_errorString;
    QByteArray m_standardOutput;
    QString m_standardError;
};

} // namespace

bool PublicClass::processCmd(const QString &cmd, QString &out, int timeoutMs, bool print)
{
    ShellCommand shell("processCmd", cmd);
    shell.logStart();
    if (!shell.run(timeoutMs)) {
        out = shell.inCommand(shell.failure());
        return false;
    }
    out = shell.takeOutputText();
    if (shell.exitCode() == 0 && !print)
        shell.logResultWithoutOutput();
    else
        shell.logResult(out, LineFeeds::Blank);
    if (out.isEmpty())
        out = shell.outputInstead();
    return true;
}

bool PublicClass::processCmd2(const QString &cmd, QByteArray &out, int timeoutMs)
{
    ShellCommand shell("processCmd2", cmd);
    shell.logStart();
    if (!shell.run(timeoutMs)) {
        out = shell.failure().toLocal8Bit();
        return false;
    }
    out = shell.standardOutput();
    shell.logResult(QString::fromUtf8(out.constData(), out.size()), LineFeeds::Keep);
    if (out.isEmpty())
        out = shell.outputInstead().toLocal8Bit();
    return true;
}

bool PublicClass::processCmd3(const QString &cmd, QString &out, int timeoutMs, int &exitCode,
                              bool print)
{
    ShellCommand shell("processCmd3", cmd);
    if (print)
        shell.logStart();
    if (!shell.run(timeoutMs)) {
        out = shell.failure();
        return false;
    }
    exitCode = shell.exitCode();
    out = shell.takeOutputText();
    shell.logResult(out, LineFeeds::Keep);
    if (out.isEmpty())
        out = shell.outputInstead();
    return exitCode == 0;
}

bool PublicClass::cmdHalSh(const QString &cmd, QString &out, int timeoutMs)
{
    ShellCommand shell("cmdHalSh", cmd);
    shell.logStart();
    if (!shell.run(timeoutMs)) {
        out = shell.inCommand(shell.failure());
        return false;
    }
    out = shell.takeOutputText();
    // The whole text: with a line end it is no failure, and callers rely on it.
    if (out == QLatin1String("failed")) {
        out = shell.inCommand(out);
        logWarning("cmdHalSh") << out;
        return false;
    }
    return true;
}
