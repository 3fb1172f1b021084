// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "files/TreeSweep_p.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

namespace ZeCore {

void sweepTree(const QString &root, const QString &shownRoot, const QStringList &excludedNames,
               const std::function<void(const QString &text)> &report)
{
    QDir dir;
    const QString shownPrefix = QDir(shownRoot).path();
    const int rootSize = QDir(root).path().size();
    QStringList directories{root};
    QStringList toList{root};
    while (!toList.isEmpty()) {
        dir.setPath(toList.takeFirst());
        const QFileInfoList entries = dir.entryInfoList(
            QDir::Dirs | QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
        for (const QFileInfo &entry : entries) {
            if (excludedNames.contains(entry.fileName()))
                continue;
            if (entry.isDir()) {
                directories.append(entry.filePath());
                if (!entry.isSymLink())
                    toList.append(entry.filePath());
            } else if (!dir.remove(entry.fileName())) {
                const QString shown = shownPrefix + entry.filePath().mid(rootSize);
                report(QStringLiteral("remove %1 file failed").arg(shown));
            }
        }
    }
    for (auto directory = directories.crbegin(); directory != directories.crend(); ++directory) {
        dir.setPath(*directory);
        if (!dir.rmdir(QStringLiteral(".")))
            report(QStringLiteral("remove %1 dir failed").arg(dir.absolutePath()));
    }
}

} // namespace ZeCore
