// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "singleapp/InstanceTable_p.h"

#include <algorithm>

namespace ZeCore {

InstanceTable::InstanceTable(void *memory, int size)
    : m_entries(static_cast<qint64 *>(memory))
    , m_capacity(size / static_cast<int>(sizeof(qint64)))
{
}

QVector<qint64> InstanceTable::ids() const
{
    QVector<qint64> ids(end());
    std::copy_n(m_entries, ids.size(), ids.begin());
    return ids;
}

void InstanceTable::append(qint64 id)
{
    const int position = end();
    if (position + 1 >= m_capacity)
        return;
    m_entries[position] = id;
    m_entries[position + 1] = 0;
}

void InstanceTable::replace(const QVector<qint64> &ids)
{
    const int count = qMin(ids.size(), m_capacity);
    std::copy_n(ids.cbegin(), count, m_entries);
    if (count < m_capacity)
        m_entries[count] = 0;
}

int InstanceTable::end() const
{
    return static_cast<int>(std::find(m_entries, m_entries + m_capacity, 0) - m_entries);
}

} // namespace ZeCore
