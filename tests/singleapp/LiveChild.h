// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef LIVECHILD_H
#define LIVECHILD_H

#include <QtCore/QByteArray>
#include <QtCore/QProcess>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace TestSupport {

/// A helper program that runs beside the test: it answers on standard output, line
/// by line, and leaves when its standard input ends. Waiting serves the events of
/// the test process.
class LiveChild
{
public:
    LiveChild(const QString &helper, const QStringList &arguments);
    ~LiveChild();
    Q_DISABLE_COPY(LiveChild)

    qint64 pid() const { return m_pid; }

    /// Sends @p text and a line feed.
    void tell(const QByteArray &text);
    /// The next line of output without its line feed; "(nothing)" if none comes in time.
    QByteArray line(int limitMs = 30000);
    /// tell() and line().
    QByteArray ask(const QByteArray &text);

    /// Ends the standard input and waits; returns whether the child exited with 0.
    bool finish();
    /// Ends the child with SIGKILL and waits.
    void kill();

    /// What the child wrote to standard error so far.
    QByteArray errors();

private:
    bool waitForEnd();

    QProcess m_process;
    qint64 m_pid = 0;
};

} // namespace TestSupport

#endif // LIVECHILD_H
