// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef FILECOPY_P_H
#define FILECOPY_P_H

#include <QtCore/QString>

namespace ZeCore {

/// When the data of a copy has to be on the disk.
enum class Durability {
    OnReturn,      ///< when copyFile() returns
    BySyncingLater ///< the caller syncs the file system of the target
};

/// Copies a file like QFile::copy(), with fewer system calls, holes kept as holes.
///
/// @p target must not exist, not even as a dangling link, and appears whole, with
/// the permission bits that QFile::copy() gives it. After a failure nothing of it
/// is left. Regular files alone are copied; callers look before, since it may do
/// something to open a device. Sources in Qt's resources are left to QFile::copy().
bool copyFile(const QString &source, const QString &target, Durability durability);

/// Waits until everything written to the file system of @p directory is on the disk.
void syncFileSystem(const QString &directory);

} // namespace ZeCore

#endif // FILECOPY_P_H
