// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "files/TimeOrder_p.h"

#include "core/CreatedTime_p.h"

#include <algorithm>
#include <utility>
#include <vector>

#include <QtCore/QString>

namespace ZeCore {

namespace {

/// An element by its time and its place in the list.
struct Key
{
    qint64 timeMs;
    int index;
};

bool isOlder(const Key &a, const Key &b)
{
    return a.timeMs < b.timeMs;
}

bool hasEqualTimes(const std::vector<Key> &sorted)
{
    return std::adjacent_find(sorted.begin(), sorted.end(),
                              [](const Key &a, const Key &b) { return a.timeMs == b.timeMs; })
        != sorted.end();
}

/// One round of the double pass: @p key changes places with all that are younger.
void exchangeYounger(Key &key, std::vector<Key>::iterator from, std::vector<Key>::iterator to)
{
    for (auto i = from; i != to; ++i) {
        if (isOlder(key, *i))
            std::swap(key, *i);
    }
}

/// The full double pass: callers rely on the places of elements of equal time.
/// Without such, any sort gives the same.
void sortAsDoublePass(std::vector<Key> &keys)
{
    std::vector<Key> sorted = keys;
    std::sort(sorted.begin(), sorted.end(), isOlder);
    if (!hasEqualTimes(sorted)) {
        keys.swap(sorted);
        return;
    }
    // The first round brings the newest to the front; from then on each round only
    // takes its element into the sorted ones before it.
    exchangeYounger(keys.front(), keys.begin(), keys.end());
    for (auto i = keys.begin(); i != keys.end(); ++i)
        exchangeYounger(*i, std::upper_bound(keys.begin(), i, *i, isOlder), i);
}

} // namespace

QFileInfoList newestFirst(const QFileInfoList &list)
{
    std::vector<Key> keys;
    keys.reserve(static_cast<std::size_t>(list.size()));
    for (int i = 0; i < list.size(); ++i)
        keys.push_back({list.at(i).lastModified().toMSecsSinceEpoch(), i});
    std::sort(keys.begin(), keys.end(), [&list](const Key &a, const Key &b) {
        return a.timeMs != b.timeMs ? a.timeMs > b.timeMs
                                    : list.at(a.index).fileName() < list.at(b.index).fileName();
    });
    QFileInfoList ordered;
    ordered.reserve(list.size());
    for (const Key &key : keys)
        ordered.append(list.at(key.index));
    return ordered;
}

QVector<CreatedFile> sortByCreation(QList<QFileInfo> &list)
{
    QVector<CreatedFile> times;
    std::vector<Key> keys;
    times.reserve(list.size());
    keys.reserve(static_cast<std::size_t>(list.size()));
    for (int i = 0; i < list.size(); ++i) {
        const QDateTime time = createdTime(list.at(i));
        times.append({time, time.toMSecsSinceEpoch()});
        keys.push_back({times.last().timeMs, i});
    }
    sortAsDoublePass(keys);

    QVector<CreatedFile> orderedTimes;
    QList<QFileInfo> ordered;
    orderedTimes.reserve(list.size());
    ordered.reserve(list.size());
    for (const Key &key : keys) {
        orderedTimes.append(times.at(key.index));
        ordered.append(list.at(key.index));
    }
    list.swap(ordered);
    return orderedTimes;
}

} // namespace ZeCore
