// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Cases.h"
#include "Child.h"
#include "Surroundings.h"

#include "files/ZeFileManager.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QVariant>

#include <algorithm>
#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

namespace Bench {

namespace {

constexpr int filesInDirectory = 100;

/// The directory of a tree of @p count files of @p fileSize bytes, made when it is
/// asked for first.
QString tree(const QString &parent, int count, int fileSize)
{
    const QString path = QStringLiteral("%1/tree-%2-%3").arg(parent).arg(count).arg(fileSize);
    if (QFile::exists(path))
        return path;
    const QByteArray content(fileSize, 'x');
    for (int i = 0; i < count; ++i) {
        const QString directory =
            QStringLiteral("%1/directory %2").arg(path).arg(i / filesInDirectory);
        if (i % filesInDirectory == 0)
            QDir().mkpath(directory);
        writeFile(QStringLiteral("%1/File %2.txt").arg(directory).arg(i), content);
    }
    return path;
}

constexpr QDir::Filters everything = QDir::Dirs | QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot;

// Collecting.

int collectByLibrary(const QString &path)
{
    QList<QVariant> files;
    ZeFileManager::init()->getDirectoryFiles(path, {}, files);
    return files.size();
}

void collect(const QString &path, QList<QVariant> &files)
{
    const QFileInfoList entries = QDir(path).entryInfoList(everything);
    for (const QFileInfo &entry : entries) {
        if (entry.isDir())
            collect(entry.absoluteFilePath(), files);
        else if (entry.isFile())
            files.append(entry.absoluteFilePath());
    }
}

int collectByQt(const QString &path)
{
    QList<QVariant> files;
    collect(path, files);
    return files.size();
}

int collectByStandardLibrary(const QString &path)
{
    std::vector<std::string> files;
    for (const auto &entry :
         std::filesystem::recursive_directory_iterator(path.toLocal8Bit().constData())) {
        if (entry.is_regular_file())
            files.push_back(entry.path().string());
    }
    return static_cast<int>(files.size());
}

using Collect = int (*)(const QString &path);

Body collecting(Collect function, int count)
{
    return timed([=] {
        const QString path = tree(workDirectory(), count, 0);
        const Stopwatch watch;
        const int found = function(path);
        const double seconds = watch.seconds();
        if (found != count)
            fail(QStringLiteral("%1 files instead of %2").arg(found).arg(count));
        return seconds;
    });
}

Body finding(int count)
{
    return timed([=] {
        return runProgram("find", {tree(workDirectory(), count, 0).toStdString(), "-type", "f"});
    });
}

Case collectCase(int count)
{
    Case comparison;
    comparison.title = "collecting " + std::to_string(count) + " files";
    comparison.contestants = {{"library", collecting(&collectByLibrary, count)},
                              {"naive Qt", collecting(&collectByQt, count)},
                              {"find", finding(count)},
                              {"std::filesystem", collecting(&collectByStandardLibrary, count)}};
    comparison.ownClock = true;
    comparison.iterations = 1;
    return comparison;
}

void addCollectCases(Suite &suite)
{
    Case collection = collectCase(suite.scaled(100000, 200));
    collection.name = "collect";
    collection.repetitions = 21;
    collection.goals = {{"naive Qt", 0.42}, {"find", 1.1}, {"std::filesystem", 0.85}};
    suite.add(std::move(collection));
    for (const int count : {100, 1000, 10000, 100000}) {
        Case point = collectCase(suite.scaled(count, 100));
        point.name = "curve-collect-" + std::to_string(count);
        point.point = {"collect", static_cast<double>(count)};
        suite.add(std::move(point));
    }
}

// Copying.

bool copyByLibrary(const QString &from, const QString &to)
{
    return ZeFileManager::init()->copyDirectoryFiles(from, to, {}, true);
}

bool copyByQt(const QString &from, const QString &to)
{
    QDir().mkpath(to);
    const QFileInfoList entries = QDir(from).entryInfoList(everything);
    return std::all_of(entries.begin(), entries.end(), [&to](const QFileInfo &entry) {
        const QString target = to + QLatin1Char('/') + entry.fileName();
        if (entry.isDir())
            return copyByQt(entry.absoluteFilePath(), target);
        QFile::remove(target);
        return QFile::copy(entry.absoluteFilePath(), target);
    });
}

bool copyByProgram(const QString &from, const QString &to)
{
    runProgram("cp", {"-r", from.toStdString(), to.toStdString()});
    return true;
}

using Copy = bool (*)(const QString &from, const QString &to);
using Directory = QString (*)();

Body copyingTree(Copy copy, Directory parent, int count, int fileSize)
{
    return timed([=] {
        const QString from = tree(parent(), count, fileSize);
        const QString to = parent() + QStringLiteral("/copy");
        const Stopwatch watch;
        const bool done = copy(from, to);
        const double seconds = watch.seconds();
        if (!done || !QFile::exists(to + QStringLiteral("/directory 0/File 0.txt")))
            fail(QStringLiteral("no copy"));
        QDir(to).removeRecursively();
        return seconds;
    });
}

Case copyCase(int count, Directory parent)
{
    constexpr int fileSize = 4096;
    Case comparison;
    comparison.contestants = {
        {"library", copyingTree(&copyByLibrary, parent, count, fileSize)},
        {"QFile::copy() loop", copyingTree(&copyByQt, parent, count, fileSize)},
        {"cp -r", copyingTree(&copyByProgram, parent, count, fileSize)}};
    comparison.ownClock = true;
    comparison.iterations = 1;
    return comparison;
}

bool copyFileByLibrary(const QString &from, const QString &to)
{
    return ZeFileManager::init()->copyDirectoryFile(from, to, {}, true);
}

bool copyFileByQt(const QString &from, const QString &to)
{
    return QFile::copy(from, to);
}

bool copyFileByProgram(const QString &from, const QString &to)
{
    runProgram("cp", {from.toStdString(), to.toStdString()});
    return true;
}

/// As durable as the others: the copy is on the disk when the function returns.
bool copyFileByProgramAndSync(const QString &from, const QString &to)
{
    copyFileByProgram(from, to);
    const int file = ::open(QFile::encodeName(to).constData(), O_RDONLY | O_CLOEXEC);
    const bool isSynced = ::fdatasync(file) == 0;
    ::close(file);
    return isSynced;
}

Body copyingFile(Copy copy, Directory parent, qint64 size)
{
    return timed([=] {
        const QString from = parent() + QStringLiteral("/large");
        if (QFile(from).size() != size)
            writeRandomFile(from, size);
        const QString to = parent() + QStringLiteral("/large copy");
        const Stopwatch watch;
        const bool done = copy(from, to);
        const double seconds = watch.seconds();
        if (!done || QFile(to).size() != size)
            fail(QStringLiteral("no copy"));
        QFile::remove(to);
        return seconds;
    });
}

void addCopyCases(Suite &suite)
{
    struct Place
    {
        const char *name;
        Directory directory;
        double loopGoal;
    };
    const Place places[] = {{"tmpfs", &memoryDirectory, 0.6}, {"disk", &workDirectory, 0.9}};
    const int count = suite.scaled(10000, 200);
    const qint64 size = suite.scaled(qint64(1) << 30, qint64(1) << 20);
    for (const Place &place : places) {
        const bool isMemory = place.directory == &memoryDirectory;
        Case copy = copyCase(count, place.directory);
        copy.name = std::string("copy-tree-") + place.name;
        copy.title =
            "copying a tree of " + std::to_string(count) + " files of 4 KiB, " + place.name;
        copy.goals = {{"QFile::copy() loop", place.loopGoal}};
        if (isMemory)
            copy.goals.push_back({"cp -r", 1.0});
        suite.add(std::move(copy));

        Case large;
        large.name = std::string("copy-file-") + place.name;
        large.title = std::string("copying a file of 1 GiB, ") + place.name;
        large.contestants = {
            {"library", copyingFile(&copyFileByLibrary, place.directory, size)},
            {"QFile::copy()", copyingFile(&copyFileByQt, place.directory, size)},
            {"cp", copyingFile(&copyFileByProgram, place.directory, size)},
            {"cp, synced", copyingFile(&copyFileByProgramAndSync, place.directory, size)}};
        // Only with a sync does cp do what the others do.
        large.goals = {{isMemory ? "cp" : "cp, synced", 1.0}};
        large.unit = Unit::Throughput;
        large.bytes = static_cast<double>(size);
        large.ownClock = true;
        large.iterations = 1;
        large.repetitions = isMemory ? 7 : 3;
        suite.add(std::move(large));
    }
    for (const int files : {100, 1000, 10000, 100000}) {
        Case point = copyCase(suite.scaled(files, 100), &memoryDirectory);
        point.name = "curve-copy-" + std::to_string(files);
        point.title = "copying a tree of " + std::to_string(files) + " files of 4 KiB, tmpfs";
        point.repetitions = files > 10000 ? 3 : 7;
        point.point = {"copy", static_cast<double>(files)};
        suite.add(std::move(point));
    }
}

} // namespace

void addTreeCases(Suite &suite)
{
    addCollectCases(suite);
    addCopyCases(suite);
}

} // namespace Bench
