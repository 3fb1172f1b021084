// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef DATEDFILES_P_H
#define DATEDFILES_P_H

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

/// The files of one directory by age: the one listing behind every retention rule.
///
/// It works on names and the kernel's time stamps, without Qt's file information
/// and its conversions to local time: two orders of magnitude faster in a full
/// log directory, right in the hour in which the clocks change, and usable while
/// Qt's statics are being destroyed.
namespace ZeCore {

struct DatedFile
{
    qint64 modifiedMs = 0; ///< modification time, milliseconds since the epoch (UTC)
    QString name;          ///< without directory
};

/// The regular files (and links to such) of @p directory, hidden ones included,
/// whose names match one of the wildcards in @p nameFilters, ignoring letter
/// case; all files without filters. Newest first, equal times in order of name.
///
/// Empty for a directory that is missing, unreadable or has an empty name. Names
/// that are not valid in the local encoding are left out, as Qt's listings do.
QVector<DatedFile> filesNewestFirst(const QString &directory, const QStringList &nameFilters);

/// Removes the oldest of those files until @p keep are left. Returns false if
/// there was nothing to remove or @p keep is negative. A file that cannot be
/// removed is passed over in silence.
bool removeAllButNewest(const QString &directory, const QStringList &nameFilters, int keep);

} // namespace ZeCore

Q_DECLARE_TYPEINFO(ZeCore::DatedFile, Q_MOVABLE_TYPE);

#endif // DATEDFILES_P_H
