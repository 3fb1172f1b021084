// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef LINEPOOL_P_H
#define LINEPOOL_P_H

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <atomic>

namespace ZeCore {

/// Buffers of lines that were written, for the lines to come.
///
/// Otherwise each line is allocated by a logging thread and freed by the writer, and
/// under load the two wait for each other at the lock of the heap. take() and give()
/// are for holders of ZeLog::_mutex. What the pool keeps is bounded: 256 lines of up
/// to 512 characters.
class LinePool
{
public:
    /// Whether there is probably a buffer for a line of @p length characters.
    bool hasLine(int length) const
    {
        return length <= maxLength && m_isFilled.load(std::memory_order_relaxed);
    }

    /// A line of @p length characters of any content: a kept one, or a new one.
    QString take(int length);

    /// Takes @p lines in, if they are more than there are already, and leaves in
    /// their place what the caller should destroy.
    void give(QStringList &lines);

    /// Takes out of @p lines what the pool would not keep.
    static void trim(QStringList &lines);

private:
    static constexpr int maxLines = 256;
    static constexpr int maxLength = 512;

    QStringList m_lines;
    std::atomic<bool> m_isFilled{false};
};

} // namespace ZeCore

#endif // LINEPOOL_P_H
