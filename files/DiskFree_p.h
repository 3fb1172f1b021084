// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef DISKFREE_P_H
#define DISKFREE_P_H

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVector>

namespace ZeCore {

/// One line of what "df -h" prints below its headers. Columns that it lacks are empty.
struct DiskFreeLine
{
    QString device;
    QString size;
    QString used;
    QString available;
    int usedPercent = 0;
    QString mountPoint; ///< the last field of the line, whatever its number
};

/// Every line of @p output but the first. Only blanks separate fields; text is
/// Latin-1; the percentage loses its last character and is 0 if the rest is no
/// number. A blank line is a record, too.
QVector<DiskFreeLine> parseDiskFree(const QByteArray &output);

/// What "df -h" prints within 30 seconds; empty if it cannot be started.
QByteArray runDiskFree();

} // namespace ZeCore

#endif // DISKFREE_P_H
