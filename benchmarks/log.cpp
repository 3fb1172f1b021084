// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Cases.h"
#include "Child.h"
#include "LogSubjects.h"
#include "Surroundings.h"

#include "log/ZeLog.h"

#include <QtCore/QFile>
#include <QtCore/QMutex>
#include <QtCore/QSemaphore>

#include <fcntl.h>
#include <unistd.h>

namespace Bench {

namespace {

const QString &message80()
{
    static const QString text = QStringLiteral(
        "The axis 3 has reached its soft limit at 118.25 degrees and stands still now, ok");
    return text;
}

constexpr int messageLength = 80;
constexpr int stampLength = 26;

using MessageHandler = void (*)(QtMsgType, const QMessageLogContext &, const QString &);

template <typename Writer>
Body callsOf(MessageHandler handler, bool zoneIsSet, const QString &text)
{
    return [=](benchmark::State &state) {
        const LogScene<Writer> scene(zoneIsSet);
        const QMessageLogContext context;
        for ([[maybe_unused]] auto iteration : state)
            handler(QtWarningMsg, context, text);
    };
}

/// What no handler of this contract can do without. The writer is there, since
/// write(2) takes longer in a process of several threads, but has nothing to do.
Body writeAndRelease(const QString &text)
{
    return [text](benchmark::State &state) {
        const LogScene<LibraryWriter> scene(false);
        const QByteArray bytes = "\x1B[33m" + text.toUtf8() + "\x1B[0m\n";
        QSemaphore permits(1);
        for ([[maybe_unused]] auto iteration : state) {
            benchmark::DoNotOptimize(
                ::write(STDERR_FILENO, bytes.constData(), static_cast<std::size_t>(bytes.size())));
            permits.release();
        }
    };
}

/// The contestants of a call of the handler.
std::vector<Contestant> handlers(bool zoneIsSet, const QString &text)
{
    return {{"library", callsOf<LibraryWriter>(&ZeLog::outputMessage, zoneIsSet, text)},
            {"naive Qt", callsOf<NaiveLog::Writer>(&NaiveLog::outputMessage, zoneIsSet, text)},
            {"write + release", writeAndRelease(text)}};
}

void addHandlerCases(Suite &suite)
{
    const long lines = suite.scaled(20000L, 10L);
    for (const bool zoneIsSet : {false, true}) {
        Case handler;
        handler.name = zoneIsSet ? "handler-tz-set" : "handler-tz-unset";
        handler.title =
            std::string("outputMessage(), 80 characters, TZ ") + (zoneIsSet ? "set" : "unset");
        handler.contestants = handlers(zoneIsSet, message80());
        handler.goals = {{"naive Qt", zoneIsSet ? 0.33 : 0.10}, {"write + release", 1.3}};
        handler.iterations = lines;
        handler.repetitions = 21;
        suite.add(std::move(handler));
    }
    for (const int length : {10, 100, 1000, 10000, 100000}) {
        const QString text(length, QLatin1Char('x'));
        Case handler;
        handler.name = "curve-line-length-" + std::to_string(length);
        handler.title = "outputMessage(), " + std::to_string(length) + " characters, TZ unset";
        handler.contestants = handlers(false, text);
        handler.iterations = suite.scaled(length <= 1000 ? 5000L : 1000L, 3L);
        handler.point = {"line-length", static_cast<double>(length)};
        suite.add(std::move(handler));
    }
}

/// From the first call to the last line on disk, for a handler and its writer.
template <typename Writer>
Body linesOnDisk(QtMessageHandler handler, bool zoneIsSet, int lines)
{
    return timed([=] {
        LogScene<Writer> scene(zoneIsSet);
        const Handler installed(handler);
        const qint64 expected = qint64(lines) * fourItemsLineSize;
        const Stopwatch watch;
        for (int i = 0; i < lines; ++i)
            logFourItems();
        scene.directory.waitForBytes(expected);
        return watch.seconds();
    });
}

void addLineCases(Suite &suite)
{
    const int lines = suite.scaled(100000, 100);
    for (const bool zoneIsSet : {false, true}) {
        Case line;
        line.name = zoneIsSet ? "line-tz-set" : "line-tz-unset";
        line.title = std::string("qWarning() with 4 items until the line is on disk, TZ ")
            + (zoneIsSet ? "set" : "unset");
        line.contestants = {
            {"library", linesOnDisk<LibraryWriter>(&ZeLog::outputMessage, zoneIsSet, lines)},
            {"naive Qt",
             linesOnDisk<NaiveLog::Writer>(&NaiveLog::outputMessage, zoneIsSet, lines)}};
        line.goals = {{"naive Qt", zoneIsSet ? 0.45 : 0.18}};
        line.operations = lines;
        line.ownClock = true;
        line.iterations = 1;
        suite.add(std::move(line));
    }
}

QStringList batchOf(int lines)
{
    QStringList batch;
    for (int i = 0; i < lines; ++i)
        batch.append(QStringLiteral("[260115 083012.045][Zemix]") + message80());
    return batch;
}

double libraryWriterSeconds(int lines)
{
    LogDirectory directory;
    const LibraryWriter writer(directory.path());
    QStringList batch = batchOf(lines);
    const qint64 expected = qint64(lines) * (stampLength + messageLength + 1);
    const Stopwatch watch;
    {
        const QMutexLocker lock(&ZeLog::_mutex);
        ZeLog::_stringList.swap(batch);
    }
    ZeLog::_synSem.release();
    directory.waitForBytes(expected);
    return watch.seconds();
}

double naiveStreamSeconds(int lines)
{
    const LogDirectory directory;
    QStringList batch = batchOf(lines);
    const Stopwatch watch;
    QFile file(directory.path() + QStringLiteral("/naive.log"));
    NaiveLog::append(file, batch);
    return watch.seconds();
}

/// The whole batch in one conversion and one write.
double oneConversionSeconds(int lines)
{
    const LogDirectory directory;
    const QByteArray path = QFile::encodeName(directory.path() + QStringLiteral("/floor.log"));
    const QStringList batch = batchOf(lines);
    const Stopwatch watch;
    const int file = ::open(path.constData(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    const QByteArray bytes = (batch.join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8();
    const bool written =
        ::write(file, bytes.constData(), static_cast<std::size_t>(bytes.size())) == bytes.size();
    ::close(file);
    const double seconds = watch.seconds();
    if (!written)
        fail(QStringLiteral("a batch cannot be written"));
    return seconds;
}

void addWriterCase(Suite &suite)
{
    const int lines = suite.scaled(90000, 100);
    Case writer;
    writer.name = "writer";
    writer.title = "a batch of " + std::to_string(lines) + " lines to bytes on disk, per line";
    writer.contestants = {
        {"library", timed([=] { return libraryWriterSeconds(lines); })},
        {"naive Qt", timed([=] { return naiveStreamSeconds(lines); })},
        {"one conversion + one write", timed([=] { return oneConversionSeconds(lines); })}};
    writer.goals = {{"one conversion + one write", 1.1}};
    writer.operations = lines;
    writer.ownClock = true;
    writer.iterations = 1;
    writer.repetitions = 21;
    suite.add(std::move(writer));
}

int queueLines(const std::vector<std::string> &arguments, MessageHandler handler)
{
    const SilentStandardError silence;
    const QMessageLogContext context;
    const double before = residentMebibytes();
    for (int i = 0, lines = std::stoi(arguments.at(0)); i < lines; ++i)
        handler(QtWarningMsg, context, message80());
    return printResult(residentMebibytes() - before);
}

Body memoryOfRole(const QString &role, int lines)
{
    return [=](benchmark::State &state) {
        for ([[maybe_unused]] auto iteration : state)
            setMemory(state, resultOfRole(role, {QString::number(lines)}));
    };
}

void addMemoryCase(Suite &suite)
{
    const int lines = suite.scaled(1000000, 10000);
    const double text = lines * double(sizeof(QChar)) * (stampLength + messageLength) / (1 << 20);
    suite.addRole("queue-library", [](const std::vector<std::string> &arguments) {
        return queueLines(arguments, &ZeLog::outputMessage);
    });
    suite.addRole("queue-naive", [](const std::vector<std::string> &arguments) {
        return queueLines(arguments, &NaiveLog::outputMessage);
    });
    Case memory;
    memory.name = "queue-memory";
    memory.title = "memory of " + std::to_string(lines) + " queued lines of 80 characters";
    memory.contestants = {{"library", memoryOfRole(QStringLiteral("queue-library"), lines)},
                          {"naive Qt", memoryOfRole(QStringLiteral("queue-naive"), lines)},
                          {"the UTF-16 text itself", [text](benchmark::State &state) {
                               for ([[maybe_unused]] auto iteration : state)
                                   setMemory(state, text);
                           }}};
    memory.goals = {{"the UTF-16 text itself", 1.3}};
    memory.unit = Unit::Mebibytes;
    memory.iterations = 1;
    memory.repetitions = 3;
    suite.add(std::move(memory));
}

} // namespace

void addLogCases(Suite &suite)
{
    addHandlerCases(suite);
    addLineCases(suite);
    addWriterCase(suite);
    addMemoryCase(suite);
}

} // namespace Bench
