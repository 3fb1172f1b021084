// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "files/FileCollector_p.h"

#include "core/LogTag_p.h"
#include "files/DirectoryListing_p.h"
#include "files/FileNames_p.h"
#include "files/TreeTrail_p.h"

#include <QtCore/QFileInfo>
#include <QtCore/QStringView>

#include <vector>

namespace ZeCore {

const CollectorRule collectListedSuffixes{"getDirectorySuffixFiles", true, true, true,
                                          "[error:getDirectorySuffixFiles: %1 to %2 失败.]"};
const CollectorRule collectOtherSuffixes{"getDirectoryFilesSuffix", true, false, true,
                                         "[error:getDirectoryFilesSuffix:拷贝 %1 to %2 失败.]"};
const CollectorRule collectOtherNames{"getDirectoryFiles", false, false, false, nullptr};

namespace {

class Collector
{
public:
    Collector(const CollectorRule &rule, const QString &prefix, const QStringList &list,
              QList<QVariant> &out)
        : m_rule(rule)
        , m_list(list)
        , m_out(out)
        , m_trail(prefix)
    {
    }

    bool collectNamedFile(const QFileInfo &file)
    {
        if (!takes(file.fileName())) {
            logSkipped(file.fileName());
            return false;
        }
        m_out.append(file.absoluteFilePath());
        return true;
    }

    /// @p shownPrefix is @p prefix as log lines show it.
    bool collectDirectory(const QString &prefix, const QString &shownPrefix)
    {
        DirectoryListing directory(prefix);
        if (!directory.isOpen())
            return m_trail.isAtStart() || lostDirectory(prefix);
        if (m_trail.leadsBack(directory.id()))
            return true;
        const TreeTrail::Step step(m_trail, directory.id());
        for (const DirectoryListing::Entry &entry : directory.read()) {
            if (entry.isDirectory) {
                const QString below = pathOf(prefix, entry.name) + QLatin1Char('/');
                if (!collectDirectory(below, below))
                    return failedBelow(pathOf(shownPrefix, entry.name));
            } else if (takes(entry.name)) {
                // Moved in, which append() does not do.
                m_out.append(QVariant());
                m_out.last() = QVariant(pathOf(prefix, entry.name));
            } else if (m_rule.logsSkipped) {
                logSkipped(entry.name.toString());
            }
        }
        return true;
    }

private:
    bool takes(QStringView name) const
    {
        return contains(m_list, m_rule.bySuffix ? suffixOf(name) : name) == m_rule.listed;
    }

    /// A directory that cannot be listed is an empty one; but it may have become a
    /// file since its parent was listed, which counts like a named file.
    bool lostDirectory(const QString &prefix)
    {
        const QFileInfo info(directoryPath(prefix));
        return !info.isFile() || collectNamedFile(info);
    }

    bool failedBelow(const QString &path) const
    {
        // The second place stays empty; readers of the logs rely on it.
        if (m_rule.failed)
            logWarning(m_rule.operation) << QString::fromUtf8(m_rule.failed).arg(path, QString());
        return false;
    }

    void logSkipped(const QString &name) const
    {
        logDebug(m_rule.operation)
            << QStringLiteral("[跳过的过滤文件[%1]:%2]").arg(m_list.join(QLatin1Char(',')), name);
    }

    const CollectorRule &m_rule;
    const QStringList &m_list;
    QList<QVariant> &m_out;
    TreeTrail m_trail;
};

} // namespace

bool collectFiles(const CollectorRule &rule, const QString &path, const QStringList &list,
                  QList<QVariant> &out)
{
    const QString prefix = listingPrefix(path);
    if (prefix.isEmpty())
        return true;
    const QFileInfo info(path);
    Collector collector(rule, prefix, list, out);
    return info.isFile() ? collector.collectNamedFile(info)
                         : collector.collectDirectory(prefix, givenPrefix(path));
}

} // namespace ZeCore
