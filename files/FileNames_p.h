// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef FILENAMES_P_H
#define FILENAMES_P_H

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QStringView>

#include <algorithm>

namespace ZeCore {

/// What follows the last dot of a file name, as QFileInfo::suffix() gives it.
inline QStringView suffixOf(QStringView name)
{
    for (qsizetype i = name.size(); i > 0; --i) {
        if (name.at(i - 1) == QLatin1Char('.'))
            return name.mid(i);
    }
    return {};
}

/// The path of an entry of the directory of @p prefix, which ends with a slash.
inline QString pathOf(const QString &prefix, QStringView name)
{
    QString path(prefix.size() + static_cast<int>(name.size()), Qt::Uninitialized);
    std::copy(name.begin(), name.end(), std::copy(prefix.begin(), prefix.end(), path.begin()));
    return path;
}

/// Whether @p text is one of @p list, exactly.
inline bool contains(const QStringList &list, QStringView text)
{
    return std::any_of(list.begin(), list.end(),
                       [text](const QString &element) { return QStringView(element) == text; });
}

} // namespace ZeCore

#endif // FILENAMES_P_H
