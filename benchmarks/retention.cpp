// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Cases.h"
#include "Child.h"
#include "Surroundings.h"

#include "files/ZeFileManager.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <cstring>
#include <random>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Bench {

namespace {

constexpr int kept = 50;

/// A directory of log files whose times are in no order.
void fill(const QString &path, int count)
{
    QDir().mkpath(path);
    std::mt19937 generator(1); // NOLINT(cert-msc32-c,cert-msc51-cpp): repeatable on purpose
    std::vector<int> seconds(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        seconds[static_cast<std::size_t>(i)] = i;
    std::shuffle(seconds.begin(), seconds.end(), generator);
    const QByteArray native = QFile::encodeName(path);
    const int directory = ::open(native.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int i = 0; i < count; ++i) {
        const QByteArray name = "ZemixPro_" + QByteArray::number(1000000 + i) + ".log";
        const int file =
            ::openat(directory, name.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        const timespec time{1600000000 + seconds[static_cast<std::size_t>(i)], 0};
        const timespec times[2] = {time, time};
        ::futimens(file, times);
        ::close(file);
    }
    ::close(directory);
}

void keepByLibrary(const QString &path)
{
    ZeFileManager::init()->removeLastDateTimeFiles(path, {QStringLiteral("*.log")}, kept);
}

void keepByQt(const QString &path)
{
    QFileInfoList files =
        QDir(path).entryInfoList({QStringLiteral("*.log")}, QDir::Files | QDir::Hidden, QDir::Time);
    for (int excess = files.size() - kept; excess > 0; --excess)
        QFile::remove(files.takeLast().absoluteFilePath());
}

struct Entry
{
    long long time;
    std::string name;
};

bool isNewer(const Entry &a, const Entry &b)
{
    return a.time != b.time ? a.time > b.time : a.name < b.name;
}

template <bool OldestFirst>
void keepByC(const QString &path)
{
    DIR *const stream = ::opendir(QFile::encodeName(path).constData());
    std::vector<Entry> files;
    while (const dirent *entry = ::readdir(stream)) {
        const std::size_t length = std::strlen(entry->d_name);
        struct stat status = {};
        if (length < 4 || std::strcmp(entry->d_name + length - 4, ".log") != 0
            || ::fstatat(::dirfd(stream), entry->d_name, &status, 0) != 0
            || !S_ISREG(status.st_mode))
            continue;
        files.push_back(
            {status.st_mtim.tv_sec * 1000LL + status.st_mtim.tv_nsec / 1000000, entry->d_name});
    }
    if (files.size() > kept) {
        std::nth_element(files.begin(), files.begin() + kept, files.end(), &isNewer);
        if (OldestFirst)
            std::sort(files.begin() + kept, files.end(),
                      [](const Entry &a, const Entry &b) { return isNewer(b, a); });
        for (auto file = files.begin() + kept; file != files.end(); ++file)
            ::unlinkat(::dirfd(stream), file->name.c_str(), 0);
    }
    ::closedir(stream);
}

using Keep = void (*)(const QString &path);

Body keeping(Keep keep, bool zoneIsSet, int count)
{
    return timed([=] {
        const Zone zone(zoneIsSet);
        const QString path = memoryDirectory() + QStringLiteral("/retention");
        fill(path, count);
        const Stopwatch watch;
        keep(path);
        const double seconds = watch.seconds();
        if (QDir(path).entryList(QDir::Files).size() != std::min(kept, count))
            fail(QStringLiteral("the wrong number of files was kept"));
        QDir(path).removeRecursively();
        return seconds;
    });
}

} // namespace

void addRetentionCases(Suite &suite)
{
    const int count = suite.scaled(20000, 100);
    for (const bool zoneIsSet : {false, true}) {
        Case retention;
        retention.name = zoneIsSet ? "retention-tz-set" : "retention-tz-unset";
        retention.title = std::string("retention: the newest 50 of 20,000, tmpfs, TZ ")
            + (zoneIsSet ? "set" : "unset");
        retention.contestants = {
            {"library", keeping(&keepByLibrary, zoneIsSet, count)},
            {"naive Qt", keeping(&keepByQt, zoneIsSet, count)},
            {"C", keeping(&keepByC<false>, zoneIsSet, count)},
            {"C, oldest first as by contract", keeping(&keepByC<true>, zoneIsSet, count)}};
        retention.goals = {{"naive Qt", zoneIsSet ? 0.3 : 0.04}, {"C", 1.15}};
        retention.iterations = 1;
        retention.ownClock = true;
        retention.repetitions = 7;
        suite.add(std::move(retention));
    }
}

} // namespace Bench
