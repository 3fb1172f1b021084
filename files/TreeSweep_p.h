// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef TREESWEEP_P_H
#define TREESWEEP_P_H

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>

namespace ZeCore {

/// Removes the files of the tree below @p root, an absolute path, then asks for the removal of each
/// directory, deepest first, by the entry "." in it, which POSIX systems refuse:
/// the directories stay, one message each, and callers rely on it.
///
/// Entries called like one of @p excludedNames stay, directories of such a name
/// with all that is in them. A link to a directory is asked for like a directory,
/// but what it points at is never listed. Goes on after failures; @p report gets
/// "remove %1 file failed", with a path below @p shownRoot, and "remove %1 dir failed" in
/// order.
void sweepTree(const QString &root, const QString &shownRoot, const QStringList &excludedNames,
               const std::function<void(const QString &text)> &report);

} // namespace ZeCore

#endif // TREESWEEP_P_H
