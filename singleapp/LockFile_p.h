// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef LOCKFILE_P_H
#define LOCKFILE_P_H

class QtLockedFile;

namespace ZeCore {

/// Opens @p file for reading and writing, and creates it for this user alone, in a
/// directory in which everybody may create files.
///
/// A link, and a file that belongs to another user than this one or root, counts as a
/// file that cannot be opened: its owner could hold its lock for ever, or have a file
/// created or opened elsewhere with the rights of this process.
bool openLockFile(QtLockedFile &file);

} // namespace ZeCore

#endif // LOCKFILE_P_H
