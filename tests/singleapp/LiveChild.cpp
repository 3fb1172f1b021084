// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "LiveChild.h"

#include "support/Child.h"

#include <QtCore/QEventLoop>
#include <QtCore/QTimer>

namespace TestSupport {

namespace {
constexpr int endLimitMs = 60000;
}

LiveChild::LiveChild(const QString &helper, const QStringList &arguments)
{
    m_process.start(helperPath(helper), arguments);
    m_process.waitForStarted(-1);
    m_pid = m_process.processId();
}

LiveChild::~LiveChild()
{
    if (m_process.state() != QProcess::NotRunning && !finish())
        kill();
}

void LiveChild::tell(const QByteArray &text)
{
    m_process.write(text + '\n');
}

QByteArray LiveChild::line(int limitMs)
{
    QTimer limit;
    limit.setSingleShot(true);
    limit.start(limitMs);
    QEventLoop loop;
    QObject::connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    QObject::connect(&m_process, &QProcess::readyReadStandardOutput, &loop, &QEventLoop::quit);
    QObject::connect(&m_process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished),
                     &loop, &QEventLoop::quit);
    while (!m_process.canReadLine() && limit.isActive()
           && m_process.state() != QProcess::NotRunning)
        loop.exec();
    return m_process.canReadLine() ? m_process.readLine().trimmed() : QByteArray("(nothing)");
}

QByteArray LiveChild::ask(const QByteArray &text)
{
    tell(text);
    return line();
}

bool LiveChild::finish()
{
    m_process.closeWriteChannel();
    return waitForEnd() && m_process.exitStatus() == QProcess::NormalExit
        && m_process.exitCode() == 0;
}

void LiveChild::kill()
{
    m_process.kill();
    waitForEnd();
}

QByteArray LiveChild::errors()
{
    return m_process.readAllStandardError();
}

bool LiveChild::waitForEnd()
{
    QTimer limit;
    limit.setSingleShot(true);
    limit.start(endLimitMs);
    QEventLoop loop;
    QObject::connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    QObject::connect(&m_process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished),
                     &loop, &QEventLoop::quit);
    while (m_process.state() != QProcess::NotRunning && limit.isActive())
        loop.exec();
    return m_process.state() == QProcess::NotRunning;
}

} // namespace TestSupport
