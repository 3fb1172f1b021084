// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef FILEMANAGERTEST_H
#define FILEMANAGERTEST_H

#include "files/ZeFileManager.h"

#include <QtCore/QString>

/// What the tests of the file manager share.
namespace FileManagerTest {

inline ZeFileManager &service()
{
    return *ZeFileManager::init();
}

/// The line that setLastError() writes, as the capture shows it.
inline QString errorLine(const QString &text)
{
    return "W [warning][setLastError] [ " + text + " ]";
}

} // namespace FileManagerTest

#endif // FILEMANAGERTEST_H
