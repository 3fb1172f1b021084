// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef SETTINGSROOM_P_H
#define SETTINGSROOM_P_H

#include <QtCore/QString>

namespace ZeCore {

/// Whether the disk has room for a new settings file in the place of @p path, with
/// @p added characters more in it.
///
/// Qt 5 does not see it when the last 16 KiB of settings find no room: it takes the
/// file for a written one and puts it, empty or cut, in the place of the old. So
/// QSettings must not be given a value to store if there is none.
bool hasRoomForSettings(const QString &path, qint64 added);

} // namespace ZeCore

#endif // SETTINGSROOM_P_H
