// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Cases.h"
#include "Child.h"
#include "LogSubjects.h"
#include "Surroundings.h"

#include "log/ZeLog.h"

#include <spdlog/async.h>
#include <spdlog/sinks/ansicolor_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>

#include <thread>

namespace Bench {

namespace {

constexpr int maxFileSize = 10485760;
constexpr int keptFiles = 50;

/// Seconds that @p threads need for @p lines together, each line by one call.
template <typename LogLine, typename Finish>
double secondsOf(int threads, int lines, LogLine logLine, Finish finish)
{
    const Stopwatch watch;
    std::vector<std::thread> running;
    for (int i = 0; i < threads; ++i) {
        running.emplace_back([=] {
            for (int line = 0; line < lines / threads; ++line)
                logLine();
        });
    }
    for (std::thread &thread : running)
        thread.join();
    finish();
    return watch.seconds();
}

template <typename Writer>
Body byQt(QtMessageHandler handler, int threads, int lines)
{
    return timed([=] {
        LogScene<Writer> scene(true);
        const Handler installed(handler);
        const qint64 expected = fourItemsLineSize * (qint64(lines) / threads * threads);
        return secondsOf(threads, lines, &logFourItems,
                         [&scene, expected] { scene.directory.waitForBytes(expected); });
    });
}

std::vector<spdlog::sink_ptr> sinksIn(const LogDirectory &directory)
{
    const std::string path = directory.path().toStdString() + "/spdlog.log";
    return {std::make_shared<spdlog::sinks::rotating_file_sink_mt>(path, maxFileSize, keptFiles),
            std::make_shared<spdlog::sinks::ansicolor_stderr_sink_mt>(spdlog::color_mode::always)};
}

void prepare(spdlog::logger &logger)
{
    logger.set_pattern("[%y%m%d %H%M%S.%e][Zemix]%^%v%$");
}

void logBySpdlog(spdlog::logger &logger)
{
    logger.warn("{} {} {} {}", "[warning][move]", "axis", 3, "soft limit");
}

Body bySpdlog(int threads, int lines)
{
    return timed([=] {
        const Zone zone(true);
        const SilentStandardError silence;
        const LogDirectory directory;
        const auto sinks = sinksIn(directory);
        spdlog::logger logger("sync", sinks.begin(), sinks.end());
        prepare(logger);
        return secondsOf(
            threads, lines, [&logger] { logBySpdlog(logger); }, [&logger] { logger.flush(); });
    });
}

Body bySpdlogAsync(int threads, int lines)
{
    return timed([=] {
        const Zone zone(true);
        const SilentStandardError silence;
        const LogDirectory directory;
        const auto sinks = sinksIn(directory);
        auto pool = std::make_shared<spdlog::details::thread_pool>(8192, 1);
        auto logger =
            std::make_shared<spdlog::async_logger>("async", sinks.begin(), sinks.end(), pool);
        prepare(*logger);
        return secondsOf(
            threads, lines, [&logger] { logBySpdlog(*logger); },
            [&logger, &pool] {
                logger->flush();
                pool.reset(); // joins once everything is written
            });
    });
}

Case threadCase(int threads, int lines)
{
    Case threadsCase;
    threadsCase.title = std::to_string(threads)
        + " threads, qWarning() with 4 items until the last line is on disk, TZ set, per line";
    threadsCase.contestants = {
        {"library", byQt<LibraryWriter>(&ZeLog::outputMessage, threads, lines)},
        {"naive Qt", byQt<NaiveLog::Writer>(&NaiveLog::outputMessage, threads, lines)},
        {"spdlog async", bySpdlogAsync(threads, lines)},
        {"spdlog sync", bySpdlog(threads, lines)}};
    threadsCase.operations = lines;
    threadsCase.ownClock = true;
    threadsCase.iterations = 1;
    return threadsCase;
}

} // namespace

void addLogThreadCases(Suite &suite)
{
    const int lines = suite.scaled(100000, 400);
    Case four = threadCase(4, lines);
    four.name = "threads";
    four.goals = {{"spdlog async", 0.8}};
    four.repetitions = 15;
    suite.add(std::move(four));
    for (const int threads : {1, 2, 4, 8}) {
        Case point = threadCase(threads, lines);
        point.name = "curve-threads-" + std::to_string(threads);
        point.point = {"threads", static_cast<double>(threads)};
        suite.add(std::move(point));
    }
}

} // namespace Bench
