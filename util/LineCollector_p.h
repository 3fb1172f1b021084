// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef LINECOLLECTOR_P_H
#define LINECOLLECTOR_P_H

#include "util/TextUpToNul_p.h"

#include <QtCore/QByteArray>
#include <QtCore/QStringList>

#include <cstring>

namespace ZeCore {

/// Collects the lines of a text that arrives in blocks.
class LineCollector
{
public:
    void add(const QByteArray &block)
    {
        const char *const end = block.constData() + block.size();
        const char *start = block.constData();
        while (const char *feed = findLineFeed(start, end)) {
            addLine(start, feed);
            start = feed + 1;
        }
        m_begun.append(start, static_cast<int>(end - start));
    }

    /// All lines; a last one without an end counts.
    QStringList finish()
    {
        if (!m_begun.isEmpty())
            m_lines.append(textUpToNul(m_begun));
        return m_lines;
    }

private:
    static const char *findLineFeed(const char *start, const char *end)
    {
        const auto size = static_cast<size_t>(end - start);
        return static_cast<const char *>(std::memchr(start, '\n', size));
    }

    void addLine(const char *start, const char *feed)
    {
        if (m_begun.isEmpty()) {
            appendEnded(start, static_cast<int>(feed - start));
            return;
        }
        m_begun.append(start, static_cast<int>(feed - start));
        appendEnded(m_begun.constData(), m_begun.size());
        m_begun.clear();
    }

    /// A carriage return belongs to the line's end only right before the feed.
    void appendEnded(const char *line, int size)
    {
        const bool returns = size > 0 && line[size - 1] == '\r';
        m_lines.append(textUpToNul(line, returns ? size - 1 : size));
    }

    QStringList m_lines;
    QByteArray m_begun; ///< what the blocks so far have begun and not ended
};

} // namespace ZeCore

#endif // LINECOLLECTOR_P_H
