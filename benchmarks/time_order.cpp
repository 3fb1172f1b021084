// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Cases.h"
#include "Child.h"
#include "Surroundings.h"

#include "files/ZeFileManager.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QLoggingCategory>

#include <utility>

namespace Bench {

namespace {

/// Files in an order that is not that of their creation.
QFileInfoList someFiles(int count)
{
    const QString directory = workDirectory() + QStringLiteral("/order");
    if (!QFile::exists(directory)) {
        QDir().mkpath(directory);
        for (int i = 0; i < count; ++i)
            writeFile(QStringLiteral("%1/%2").arg(directory).arg(i), {});
    }
    QFileInfoList files;
    for (int i = 0; i < count; ++i)
        files.append(QFileInfo(QStringLiteral("%1/%2").arg(directory).arg(i * 7 % count)));
    return files;
}

QDateTime createdTime(const QFileInfo &file)
{
    const QDateTime born = file.birthTime();
    return born.isValid() ? born : file.metadataChangeTime();
}

/// The exchanges alone, as the contract tells them.
void orderByQt(QFileInfoList &files)
{
    for (int i = 0; i < files.size(); ++i) {
        for (int j = 0; j < files.size(); ++j) {
            if (createdTime(files.at(i)).toMSecsSinceEpoch()
                < createdTime(files.at(j)).toMSecsSinceEpoch())
                files.swapItemsAt(i, j);
        }
    }
}

void orderByLibrary(QFileInfoList &files)
{
    ZeFileManager::init()->moveToListFirst(files);
}

using Order = void (*)(QFileInfoList &files);

/// Without the debug lines, which the naive form does not have.
class NoDebugLines
{
public:
    NoDebugLines() { QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false")); }
    ~NoDebugLines() { QLoggingCategory::setFilterRules(QString()); }
    Q_DISABLE_COPY(NoDebugLines)
};

Body ordering(Order order, bool zoneIsSet, int count)
{
    return timed([=] {
        const Zone zone(zoneIsSet);
        QFileInfoList files = someFiles(count);
        const NoDebugLines silence;
        const Stopwatch watch;
        order(files);
        const double seconds = watch.seconds();
        if (createdTime(files.first()) > createdTime(files.last()))
            fail(QStringLiteral("not in order"));
        return seconds;
    });
}

} // namespace

void addTimeOrderCases(Suite &suite)
{
    const int count = suite.scaled(2000, 20);
    for (const bool zoneIsSet : {false, true}) {
        Case order;
        order.name = zoneIsSet ? "order-tz-set" : "order-tz-unset";
        order.title =
            std::string("moveToListFirst() of 2,000 entries, TZ ") + (zoneIsSet ? "set" : "unset");
        order.contestants = {{"library", ordering(&orderByLibrary, zoneIsSet, count)},
                             {"naive Qt", ordering(&orderByQt, zoneIsSet, count)}};
        order.goals = {{"naive Qt", zoneIsSet ? 0.001 : 0.0005}};
        order.ownClock = true;
        order.iterations = 1;
        order.repetitions = zoneIsSet ? 3 : 1; // the naive form takes a minute
        suite.add(std::move(order));
    }
}

} // namespace Bench
