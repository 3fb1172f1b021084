// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef CREATEDTIME_P_H
#define CREATEDTIME_P_H

#include <QtCore/QDateTime>
#include <QtCore/QFileInfo>

namespace ZeCore {

/// What the deprecated QFileInfo::created() gives: the time of birth where the
/// file system keeps one, else that of the last status change, else of the last
/// modification. Invalid for a file that does not exist.
inline QDateTime createdTime(const QFileInfo &info)
{
    const QDateTime birth = info.fileTime(QFileDevice::FileBirthTime);
    if (birth.isValid())
        return birth;
    const QDateTime change = info.fileTime(QFileDevice::FileMetadataChangeTime);
    return change.isValid() ? change : info.fileTime(QFileDevice::FileModificationTime);
}

} // namespace ZeCore

#endif // CREATEDTIME_P_H
