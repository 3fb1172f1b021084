// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef TREETRAIL_P_H
#define TREETRAIL_P_H

#include "files/DirectoryListing_p.h"

#include <QtCore/QString>

#include <algorithm>
#include <vector>

namespace ZeCore {

/// The directories between "/" and where a walk over a tree is. The walks follow
/// links to directories, but not to one of these: they would not come to an end.
class TreeTrail
{
public:
    /// One directory deeper, while it lives.
    class Step
    {
    public:
        Step(TreeTrail &trail, FileId directory)
            : m_trail(trail)
        {
            m_trail.m_directories.push_back(directory);
        }
        ~Step() { m_trail.m_directories.pop_back(); }
        Q_DISABLE_COPY(Step)

    private:
        TreeTrail &m_trail;
    };

    /// Starts with the directories above @p prefix, without it.
    explicit TreeTrail(const QString &prefix)
    {
        for (int slash = 0; (slash = prefix.indexOf(QLatin1Char('/'), slash)) >= 0; ++slash) {
            if (slash < prefix.size() - 1)
                m_directories.push_back(fileId(prefix.left(slash + 1)));
        }
        m_above = m_directories.size();
    }

    /// Whether the walk is about to enter the directory that it starts with.
    bool isAtStart() const { return m_directories.size() == m_above; }

    /// Whether a walk into @p directory would come back to where it has been. Never
    /// for the directory that it starts with, which the caller has chosen.
    bool leadsBack(FileId directory) const
    {
        return !isAtStart() && directory.isKnown()
            && std::find(m_directories.begin(), m_directories.end(), directory)
            != m_directories.end();
    }

private:
    std::vector<FileId> m_directories;
    std::size_t m_above = 0;
};

} // namespace ZeCore

#endif // TREETRAIL_P_H
