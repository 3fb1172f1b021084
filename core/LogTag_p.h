// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef LOGTAG_P_H
#define LOGTAG_P_H

#include <QtCore/QDebug>
#include <QtCore/QString>

/// Streams that begin with the library's level tag, for example
/// `logWarning("setLastError") << "[" << text << "]"`.
///
/// Every item is streamed on its own and followed by one blank, without quotes:
/// programs of the suite parse these lines, so items are never joined first.
namespace ZeCore {

namespace Detail {
inline QDebug tagged(QDebug stream, QLatin1String tagStart, const char *operation)
{
    stream.noquote();
    stream << QString(tagStart + QLatin1String(operation) + QLatin1Char(']'));
    return stream;
}
} // namespace Detail

inline QDebug logDebug(const char *operation)
{
    return Detail::tagged(qDebug(), QLatin1String("[debug]["), operation);
}

inline QDebug logWarning(const char *operation)
{
    return Detail::tagged(qWarning(), QLatin1String("[warning]["), operation);
}

inline QDebug logError(const char *operation)
{
    return Detail::tagged(qCritical(), QLatin1String("[error]["), operation);
}

} // namespace ZeCore

#endif // LOGTAG_P_H
