// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "log/LinePool_p.h"

#include <algorithm>

namespace ZeCore {

QString LinePool::take(int length)
{
    if (!m_lines.isEmpty()) {
        QString line;
        line.swap(m_lines.last());
        m_lines.removeLast();
        m_isFilled.store(!m_lines.isEmpty(), std::memory_order_relaxed);
        // One that is too short goes, so that the pool follows the length of the lines.
        if (line.capacity() >= length && line.isDetached()) {
            line.resize(length);
            return line;
        }
    }
    return QString(length, Qt::Uninitialized);
}

void LinePool::give(QStringList &lines)
{
    if (lines.size() <= m_lines.size())
        return;
    m_lines.swap(lines);
    m_isFilled.store(true, std::memory_order_relaxed);
}

void LinePool::trim(QStringList &lines)
{
    if (lines.size() > maxLines)
        lines.erase(lines.begin() + maxLines, lines.end());
    lines.erase(std::remove_if(lines.begin(), lines.end(),
                               [](const QString &line) { return line.capacity() > maxLength; }),
                lines.end());
}

} // namespace ZeCore
