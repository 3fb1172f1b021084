// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef INSTANCETABLE_P_H
#define INSTANCETABLE_P_H

#include <QtCore/QVector>
#include <QtCore/qglobal.h>

namespace ZeCore {

/// The ids of the running instances in a piece of shared memory: 64-bit signed
/// integers in the machine's byte order, in order of registration, ended by a 0.
///
/// The memory is shared with other programs, so it may be smaller than expected and
/// may lack the 0: nothing is ever read or written outside of it.
class InstanceTable
{
public:
    /// A view on @p size bytes at @p memory, which is aligned for a qint64.
    InstanceTable(void *memory, int size);

    /// The registered ids, at most to the end of the memory.
    QVector<qint64> ids() const;

    /// Enters @p id behind the others, with the 0 after it. A full table stays as it
    /// is, in silence: callers rely on running all the same.
    void append(qint64 id);

    /// Replaces the content by @p ids, at most as many as ids() gave, and the 0 after them.
    void replace(const QVector<qint64> &ids);

private:
    int end() const;

    qint64 *m_entries;
    int m_capacity;
};

} // namespace ZeCore

#endif // INSTANCETABLE_P_H
