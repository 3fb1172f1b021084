// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Progress.h"

#include "Demo.h"

namespace {

constexpr int barWidth = 24;
constexpr qint64 drawEveryMs = 50;

QString seconds(qint64 ms)
{
    return QString::number(static_cast<double>(ms) / 1000, 'f', 1) + " s";
}

} // namespace

Progress::Progress(Demo &demo, const QString &name, qint64 total, const QString &unit)
    : m_demo(demo)
    , m_name(name)
    , m_unit(unit)
    , m_total(qMax<qint64>(total, 1))
{
    m_time.start();
    m_demo.passingFact(m_name, bar());
}

Progress::~Progress()
{
    const QString outcome =
        QString("%1 %2 in %3").arg(m_done).arg(m_unit, seconds(m_time.elapsed()));
    m_demo.fact(m_name, m_demo.isAnimated() ? bar() + "  " + outcome : outcome);
}

void Progress::setDone(qint64 done)
{
    m_done = done;
    const qint64 now = m_time.elapsed();
    if (now - m_drawnAtMs < drawEveryMs)
        return;
    m_drawnAtMs = now;
    m_demo.passingFact(m_name, bar() + "  " + seconds(now));
}

QString Progress::bar() const
{
    const qint64 done = qBound<qint64>(0, m_done, m_total);
    const QString filled(static_cast<int>(done * barWidth / m_total), QChar('#'));
    return '[' + filled.leftJustified(barWidth, QChar('.')) + ']'
        + QString("%1%").arg(done * 100 / m_total).rightJustified(5);
}
