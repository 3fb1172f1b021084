// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "util/PublicClass.h"

#include "core/CreatedTime_p.h"
#include "core/LogTag_p.h"

#include <QtCore/QDateTime>
#include <QtCore/QFileInfo>
#include <QtCore/QStringList>

namespace {

/// Nothing has a NUL in its path, but Qt looks some things up as if the path ended there.
bool canExist(const QString &path)
{
    return !path.contains(QChar(QChar::Null));
}

void addLogDir(QMap<QString, QVariant> &catalogue, const QString &name, const QString &location)
{
    const QFileInfo info(location);
    const QString filePath = info.filePath();
    const bool isPath = canExist(location);
    const QDateTime created = isPath ? ZeCore::createdTime(info) : QDateTime();
    catalogue.insert(filePath,
                     QVariantMap{{QStringLiteral("file_path"), filePath},
                                 {QStringLiteral("dir_name"), name},
                                 {QStringLiteral("created_date_time"), created}});
    constexpr auto operation = "addLogDirList";
    if (isPath && info.isDir())
        ZeCore::logDebug(operation) << "[目录存在:" << filePath << "]";
    else
        ZeCore::logWarning(operation) << "[目录不存在:" << filePath << "]";
}

} // namespace

void PublicClass::addLogDirList(QMap<QString, QVariant> &catalogue, const QString &baseDir,
                                const QString &spec)
{
    const QStringList entries = spec.split(QLatin1Char('|'));
    for (const QString &entry : entries) {
        // Blanks beside the ":" stay and belong to the parts; callers rely on it.
        const QStringList parts = entry.simplified().split(QLatin1Char(':'));
        if (parts.size() != 2)
            continue;
        const QString &path = parts.at(1);
        const bool isAbsolute = path.startsWith(QLatin1Char('/'));
        addLogDir(catalogue, parts.at(0), isAbsolute ? path : baseDir + QLatin1Char('/') + path);
    }
}
