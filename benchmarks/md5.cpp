// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Cases.h"
#include "Child.h"
#include "Surroundings.h"

#include "files/ZeFileManager.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QFile>

#include <fcntl.h>
#include <unistd.h>

namespace Bench {

namespace {

QByteArray byLibrary(const QString &path)
{
    return ZeFileManager::init()->Md5File(path);
}

QByteArray byQt(const QString &path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    QCryptographicHash hash(QCryptographicHash::Md5);
    hash.addData(&file);
    return hash.result();
}

/// Nothing but the reading.
QByteArray readOnly(const QString &path)
{
    const int file = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    std::vector<char> block(std::size_t(256) << 10);
    while (::read(file, block.data(), block.size()) > 0) { }
    ::close(file);
    return "read";
}

/// Nothing but Qt's MD5 of as many bytes that are there already.
QByteArray hashOnly(const QByteArray &block, qint64 size)
{
    QCryptographicHash hash(QCryptographicHash::Md5);
    for (qint64 done = 0; done < size; done += block.size())
        hash.addData(block);
    return hash.result();
}

} // namespace

void addMd5Cases(Suite &suite)
{
    constexpr int blockSize = 1 << 20;
    const qint64 size = suite.scaled(qint64(1) << 30, qint64(1) << 20);
    // Made with the first repetition and used by all.
    const auto path = [size] {
        const QString name = workDirectory() + QStringLiteral("/md5");
        if (QFile(name).size() != size)
            writeRandomFile(name, size);
        return name;
    };
    const auto onFile = [path](QByteArray (*function)(const QString &)) {
        return timed([=] {
            const QString name = path();
            const Stopwatch watch;
            if (function(name).isEmpty())
                fail(QStringLiteral("no digest"));
            return watch.seconds();
        });
    };

    Case md5;
    md5.name = "md5";
    md5.title = "Md5File() of 1 GiB";
    md5.contestants = {
        {"library", onFile(&byLibrary)},
        {"naive Qt", onFile(&byQt)},
        {"md5sum", timed([path] { return runProgram("md5sum", {path().toStdString()}); })},
        {"Qt's MD5 without the file", timed([size] {
             const QByteArray block = randomBytes(blockSize);
             const Stopwatch watch;
             benchmark::DoNotOptimize(hashOnly(block, size));
             return watch.seconds();
         })},
        {"read(2) alone", onFile(&readOnly)}};
    md5.goals = {{"md5sum", 1.05}};
    md5.unit = Unit::Throughput;
    md5.bytes = static_cast<double>(size);
    md5.iterations = 1;
    md5.ownClock = true;
    md5.repetitions = 5;
    suite.add(std::move(md5));
}

} // namespace Bench
