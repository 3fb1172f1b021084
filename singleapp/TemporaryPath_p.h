// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef TEMPORARYPATH_P_H
#define TEMPORARYPATH_P_H

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QString>

namespace ZeCore {

/// QDir::tempPath(), and as in Qt 5.12 also the name of a directory that is missing.
/// Qt 5.15 gives an empty path for that, which would stand for the current directory.
inline QString temporaryPath()
{
    const QString path = QDir::tempPath();
    return path.isEmpty() ? QDir::cleanPath(QFile::decodeName(qgetenv("TMPDIR"))) : path;
}

} // namespace ZeCore

#endif // TEMPORARYPATH_P_H
