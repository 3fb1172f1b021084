// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef DIRECTORYGUARD_P_H
#define DIRECTORYGUARD_P_H

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QString>

namespace ZeCore {

/// Whether @p path is the existing directory @p directory or one that it lies
/// in, under whatever name: what must not be removed if @p directory is to stay.
inline bool containsDirectory(const QString &path, const QString &directory)
{
    const QString outer = QFileInfo(path).canonicalFilePath();
    const QString inner = QFileInfo(directory).canonicalFilePath();
    if (outer.isEmpty()) // nothing there
        return false;
    return outer == QDir::rootPath() || inner == outer
        || inner.startsWith(outer + QLatin1Char('/'));
}

} // namespace ZeCore

#endif // DIRECTORYGUARD_P_H
