// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef PROGRESS_H
#define PROGRESS_H

#include <QtCore/QElapsedTimer>
#include <QtCore/QString>

class Demo;

/// Shows how far a long piece of work has come: a bar that grows on a terminal,
/// and one line with the outcome when the work is done or given up.
class Progress
{
public:
    /// @p total is the amount of work, in what @p unit names.
    Progress(Demo &demo, const QString &name, qint64 total, const QString &unit);
    /// Writes the line that stays.
    ~Progress();

    /// Tells how much of the work is done; cheap enough for every step of a loop.
    void setDone(qint64 done);

private:
    Q_DISABLE_COPY(Progress)

    QString bar() const;

    Demo &m_demo;
    QString m_name;
    QString m_unit;
    qint64 m_total;
    qint64 m_done = 0;
    qint64 m_drawnAtMs = 0;
    QElapsedTimer m_time;
};

#endif // PROGRESS_H
