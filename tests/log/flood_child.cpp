// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// Logs numbered lines from four threads, of which LogTally can tell what became.
//   flood_child endless DIR PROGRESS [FILE]
//       until it is killed. It says "running" before it starts, and the mapped file
//       PROGRESS holds how many lines of each thread the writer is done with. It goes
//       on in FILE, if there is one.
//   flood_child brief DIR LINES
//       so many lines, for checkers that take their time
//   flood_child paced DIR LINES PADDING
//       so many lines, not more at a time than the writer takes and one file can hold
//       per second. It says "LINES-SO-FAR RESIDENT-KIB" along the way.

#include "Flood.h"
#include "support/LogQueue.h"
#include "support/LogTally.h"
#include "util/PublicClass.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <numeric>
#include <thread>
#include <vector>

#include <unistd.h>

using TestSupport::frontOfQueue;
using TestSupport::logText;
using TestSupport::numberedText;

namespace {

void say(const QByteArray &text)
{
    std::printf("%s\n", text.constData());
    std::fflush(stdout);
}

class Flood
{
public:
    explicit Flood(int padding)
        : m_padding(padding)
    {
    }

    void log(int thread, qint64 number)
    {
        logText(numberedText(thread, number, m_padding));
        m_logged.at(static_cast<std::size_t>(thread)) = number + 1;
    }

    FloodProgress logged() const
    {
        FloodProgress result{};
        std::copy(m_logged.begin(), m_logged.end(), result.begin());
        return result;
    }

private:
    int m_padding;
    std::array<std::atomic<qint64>, floodThreads> m_logged{};
};

/// Tells again and again, where a parent can read it after this process is gone,
/// which lines are in a batch that the writer has finished.
[[noreturn]] void tellProgress(const Flood &flood, const QString &path)
{
    QFile file(path);
    file.open(QIODevice::ReadWrite);
    uchar *const page = file.map(0, sizeof(FloodProgress));
    if (!page)
        qFatal("no progress file");
    for (;;) {
        const FloodProgress logged = flood.logged();
        TestSupport::waitUntilTaken();
        // The writer is done with that batch when it takes another one.
        while (frontOfQueue().isNull())
            ::usleep(50);
        TestSupport::waitUntilTaken();
        auto *to = reinterpret_cast<qint64 *>(page);
        for (const qint64 count : logged)
            __atomic_store_n(to++, count, __ATOMIC_RELEASE);
    }
}

int floodWithoutEnd(const QStringList &arguments)
{
    if (arguments.size() > 4)
        ZeLog::s_LogName = arguments.at(4);
    ZeLog log;
    Flood flood(floodPadding);
    say("running");
    log.start();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < floodThreads; ++thread) {
        threads.emplace_back([thread, &flood] {
            for (qint64 i = 0;; ++i)
                flood.log(thread, i);
        });
    }
    tellProgress(flood, arguments.at(3));
}

int floodBriefly(const QStringList &arguments)
{
    const qint64 lines = arguments.at(3).toLongLong();
    ZeLog log;
    log.start();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < floodThreads; ++thread) {
        threads.emplace_back([thread, lines] {
            for (qint64 i = 0; i < lines / floodThreads; ++i)
                logText(numberedText(thread, i, floodPadding));
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    TestSupport::waitUntilWritten();
    TestSupport::stopCleanly(log);
    return 0;
}

/// Hands out as many lines per time as do not fill two files within one second, since
/// files of one second have one name.
class Pace
{
public:
    /// To be called before each line of about @p bytes.
    void wait(int bytes)
    {
        while (m_bytes.fetch_sub(bytes, std::memory_order_relaxed) < bytes) {
            m_bytes += bytes;
            ::usleep(1000);
        }
    }

    void refill(qint64 bytes) { m_bytes = std::min(m_bytes + bytes, qint64(burst)); }

    static constexpr int refillsPerSecond = 100;
    static constexpr qint64 bytesPerSecond = 9000000;

private:
    static constexpr int burst = 500000;

    std::atomic<qint64> m_bytes{0};
};

long residentKib()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return file.readAll().split(' ').value(1).toLong() * (::sysconf(_SC_PAGESIZE) / 1024);
}

int floodPaced(const QStringList &arguments)
{
    const qint64 lines = arguments.at(3).toLongLong();
    const int padding = arguments.at(4).toInt();
    constexpr int queueLimit = 20000;

    ZeLog log;
    log.start();
    Flood flood(padding);
    Pace pace;
    std::atomic<int> running{floodThreads};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < floodThreads; ++thread) {
        threads.emplace_back([thread, lines, padding, &flood, &pace, &running] {
            const int bytes = padding + 60;
            for (qint64 i = 0; i < lines / floodThreads; ++i) {
                pace.wait(bytes);
                flood.log(thread, i);
                while (i % 64 == 0 && TestSupport::queueLength() > queueLimit)
                    ::usleep(1000);
            }
            --running;
        });
    }
    constexpr int reports = 40;
    qint64 nextReport = 0;
    while (running > 0) {
        ::usleep(1000000 / Pace::refillsPerSecond);
        pace.refill(Pace::bytesPerSecond / Pace::refillsPerSecond);
        const FloodProgress logged = flood.logged();
        const qint64 sum = std::accumulate(logged.begin(), logged.end(), qint64(0));
        if (sum >= nextReport) {
            say(QByteArray::number(sum) + ' ' + QByteArray::number(qint64(residentKib())));
            nextReport = sum + lines / reports;
        }
    }
    for (std::thread &thread : threads)
        thread.join();
    TestSupport::waitUntilWritten();
    TestSupport::stopCleanly(log);
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    PublicClass::init()->logDir = arguments.at(2);
    qInstallMessageHandler(ZeLog::outputMessage);
    if (arguments.at(1) == QLatin1String("brief"))
        return floodBriefly(arguments);
    if (arguments.at(1) == QLatin1String("paced"))
        return floodPaced(arguments);
    return floodWithoutEnd(arguments);
}
