// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef TEXTUPTONUL_P_H
#define TEXTUPTONUL_P_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace ZeCore {

/// @p size bytes read as UTF-8 text that ends at the first NUL, if there is one.
inline QString textUpToNul(const char *bytes, int size)
{
    return QString::fromUtf8(bytes, static_cast<int>(qstrnlen(bytes, static_cast<uint>(size))));
}

inline QString textUpToNul(const QByteArray &bytes)
{
    return textUpToNul(bytes.constData(), bytes.size());
}

} // namespace ZeCore

#endif // TEXTUPTONUL_P_H
