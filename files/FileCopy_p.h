// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef FILECOPY_P_H
#define FILECOPY_P_H

#include <QtCore/QString>

#include <sys/types.h>

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

/// A file system that copies have been written to. It is opened before it can
/// forget errors of writing them.
class FileSystem
{
public:
    /// The file system of @p file, a copy; a directory with copies in it may refuse to be opened.
    FileSystem(const QString &file, dev_t device);
    ~FileSystem();
    Q_DISABLE_COPY(FileSystem)

    dev_t device() const { return m_device; }
    /// Waits until everything written to it is on the disk. False if data is lost.
    bool sync();

private:
    int m_descriptor;
    dev_t m_device;
};

} // namespace ZeCore

#endif // FILECOPY_P_H
