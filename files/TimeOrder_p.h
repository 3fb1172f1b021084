// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef TIMEORDER_P_H
#define TIMEORDER_P_H

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QList>
#include <QtCore/QVector>

/// Orders of files by their times. Each time is read once, not in comparisons.
namespace ZeCore {

/// @p list by modification time, the newest first, equal times in order of name:
/// `QDir::Time`, right in the hour in which the clocks change, too, and the same
/// with every Qt release.
QFileInfoList newestFirst(const QFileInfoList &list);

struct CreatedFile
{
    QDateTime time;
    qint64 timeMs; ///< since the epoch
};

/// Sorts @p list by creation time, the oldest first; returns the times in that
/// order. Elements of the same time change places as in a full double pass that
/// swaps i and j where i is older.
QVector<CreatedFile> sortByCreation(QList<QFileInfo> &list);

} // namespace ZeCore

#endif // TIMEORDER_P_H
