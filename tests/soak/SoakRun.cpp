// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "SoakRun.h"

#include "Rates.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QEventLoop>
#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtCore/QTimer>

#include <algorithm>
#include <csignal>

namespace Soak {

namespace {

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr bool isMemoryOurs = false; // the sanitizers keep what is freed, and more
#else
constexpr bool isMemoryOurs = true;
#endif

constexpr int samplesPerRun = 20;
constexpr int keptLogs = 50;

// A slow machine gets more time for the part of the work without which nothing is shown.
constexpr double leastShare = 0.5;
constexpr double mostDelay = 5;

// What may be more at the end than after the first fifth of the run, in which caches
// fill. The allocator's own pieces make the resident memory wander.
constexpr int allowedDescriptors = 3; // connections at the moment of the sample
constexpr int allowedThreads = 1;
constexpr qint64 allowedHeapKib = 128;
constexpr qint64 allowedResidentKib = 2048;

/// The segments of shared memory that one of @p creators has made.
int sharedMemoryOf(const QSet<qint64> &creators)
{
    QFile file(QStringLiteral("/proc/sysvipc/shm"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    constexpr int creatorColumn = 4;
    int count = 0;
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        const QList<QByteArray> columns = line.simplified().split(' ');
        count += creators.contains(columns.value(creatorColumn).toLongLong()) ? 1 : 0;
    }
    return count;
}

QStringList entriesOf(const QString &directory)
{
    return QDir(directory).entryList(QDir::AllEntries | QDir::System | QDir::Hidden
                                     | QDir::NoDotAndDotDot);
}

/// The two numbers of the stations, "1 + 2".
template <typename Number>
QByteArray both(const Sample &sample, Number Vitals::*member)
{
    QByteArray text;
    for (const Vitals &vitals : sample.vitals)
        text += (text.isEmpty() ? "" : " + ") + QByteArray::number(vitals.*member);
    return text;
}

Counts sum(const std::vector<StationHandle> &stations)
{
    Counts sum;
    for (const StationHandle &station : stations) {
        sum.lines += station.counts.lines;
        sum.sent += station.counts.sent;
        sum.received += station.counts.received;
        sum.requests += station.counts.requests;
        sum.commands += station.counts.commands;
        sum.saves += station.counts.saves;
        sum.trees += station.counts.trees;
        sum.events += station.counts.events;
    }
    return sum;
}

} // namespace

SoakRun::SoakRun(double minutes, unsigned seed)
    : m_minutes(minutes)
    , m_seed(seed)
    , m_random(seed)
    , m_temporaryDirectory(m_dir.path() + QStringLiteral("/tmp"))
{
    QDir().mkpath(m_temporaryDirectory);
    qputenv("TMPDIR", QFile::encodeName(m_temporaryDirectory));
    // What malloc() keeps for its threads would count as handed out, and slowly fills.
    qputenv("GLIBC_TUNABLES", "glibc.malloc.tcache_count=0");
    for (int i = 0; i < 10; ++i)
        m_server.answer('/' + QByteArray::number(i),
                        HttpServer::reply("200 OK", "{\"answer\": " + QByteArray::number(i) + '}'));
}

int SoakRun::exec()
{
    m_visitorProgram = makeProgram(QStringLiteral("visitor"));
    for (const char *const name : {"first", "second"})
        startStation(QString::fromLatin1(name));
    m_stations.front().process->tell("peer "
                                     + QByteArray::number(m_stations.back().process->pid()));
    m_clock.start();
    takeSample(0);
    const auto isDone = [this] {
        return seconds() >= m_minutes * 60
            && (neglectedWork().isEmpty() || seconds() >= mostDelay * m_minutes * 60);
    };
    while (!isDone() && m_faults.isEmpty()) {
        watch();
        if (double(m_started) < due(PerDay::visitors, seconds()) && m_visitors.size() < 2)
            startVisitor();
        const auto sampleCount = static_cast<double>(m_samples.size());
        if (seconds() >= m_minutes * 60 * sampleCount / samplesPerRun)
            takeSample(seconds() / 60);
        serveEvents(20);
    }
    while (!m_visitors.empty()) {
        watch();
        serveEvents(20);
    }
    takeSample(seconds() / 60);
    stopStations();
    const QStringList neglected = neglectedWork();
    expect(neglected.isEmpty(), QLatin1String("too little work: ") + neglected.join(", "));
    judgeGrowth();
    return m_faults.isEmpty() ? 0 : 1;
}

/// A copy of this program in a directory of its own, which becomes its application
/// directory.
QString SoakRun::makeProgram(const QString &name)
{
    const QString directory = m_dir.path() + QLatin1Char('/') + name;
    const QString program = directory + QStringLiteral("/soak");
    expect(QDir().mkpath(directory)
               && QFile::copy(QCoreApplication::applicationFilePath(), program),
           QStringLiteral("cannot copy the program"));
    return program;
}

void SoakRun::startStation(const QString &name)
{
    StationHandle station;
    station.process = std::make_unique<TestSupport::LiveChild>(
        makeProgram(name), QStringList{QStringLiteral("--station"), m_server.url()});
    station.tally = std::make_unique<TestSupport::LogTally>(m_dir.path() + QLatin1Char('/') + name
                                                                + QStringLiteral("/appInfo/log"),
                                                            loggingThreads, linePadding);
    expect(station.process->line() == "ready", name + QStringLiteral(" does not start"));
    m_pids.insert(station.process->pid());
    m_stations.push_back(std::move(station));
}

/// Starts an instance that leaves by itself, or is killed at some moment before.
void SoakRun::startVisitor()
{
    auto visitor = std::make_unique<QProcess>();
    visitor->setStandardOutputFile(QProcess::nullDevice());
    visitor->setStandardErrorFile(QProcess::nullDevice());
    visitor->start(m_visitorProgram,
                   {QStringLiteral("--visitor"), QStringLiteral("visitor %1").arg(m_started++)});
    m_pids.insert(visitor->processId());
    std::uniform_real_distribution<double> chance;
    if (chance(m_random) < PerDay::killed) {
        const int afterMs = static_cast<int>(m_random() % 100);
        QTimer::singleShot(afterMs, visitor.get(), &QProcess::kill);
    }
    m_visitors.push_back(std::move(visitor));
}

void SoakRun::reapVisitors()
{
    const auto hasEnded = [this](const std::unique_ptr<QProcess> &visitor) {
        if (visitor->state() != QProcess::NotRunning)
            return false;
        const bool wasKilled = visitor->exitStatus() == QProcess::CrashExit;
        m_killed += wasKilled ? 1 : 0;
        expect(wasKilled ? visitor->exitCode() == SIGKILL : visitor->exitCode() == 0,
               QStringLiteral("a visitor ended with %1").arg(visitor->exitCode()));
        return true;
    };
    m_visitors.erase(std::remove_if(m_visitors.begin(), m_visitors.end(), hasEnded),
                     m_visitors.end());
}

void SoakRun::serveEvents(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

/// Takes what the others leave for this process to take.
void SoakRun::watch()
{
    reapVisitors();
    m_server.resetCounts();
    for (StationHandle &station : m_stations) {
        station.process->errors();
        station.tally->readFinishedFiles();
    }
}

void SoakRun::takeSample(double minute)
{
    Sample sample;
    sample.minute = minute;
    for (StationHandle &station : m_stations) {
        const QList<QByteArray> words = station.process->ask("report").split(' ');
        station.counts = Counts::fromWords(words, 0);
        station.vitals = Vitals::fromWords(words, Counts::size);
        const QByteArray fault = words.mid(Counts::size + 4).join(' ');
        expect(words.size() >= Counts::size + 4 && fault.isEmpty(),
               QLatin1String("station: ") + QString::fromUtf8(words.join(' ')));
        expect(station.tally->fault().isEmpty(), station.tally->fault());
        sample.vitals.push_back(station.vitals);
    }
    sample.counts = sum(m_stations);
    sample.started = m_started;
    sample.killed = m_killed;
    sample.sharedMemory = sharedMemoryOf(m_pids);
    sample.temporaryFiles = entriesOf(m_temporaryDirectory).size();
    m_samples.push_back(sample);
}

/// All work ends before anything is compared. The second one leaves first, so that the
/// one which all others found leaves the table last.
void SoakRun::stopStations()
{
    std::vector<QList<QByteArray>> logged;
    for (StationHandle &station : m_stations)
        logged.push_back(station.process->ask("stop").split(' '));
    takeSample(seconds() / 60);
    for (std::size_t i = m_stations.size(); i-- > 0;) {
        expect(m_stations.at(i).process->finish(), QStringLiteral("a station did not end with 0"));
        countLines(*m_stations.at(i).tally, logged.at(i));
    }
    const qint64 sent = m_stations.front().counts.sent;
    const qint64 received = m_stations.back().counts.received;
    expect(received == sent, QStringLiteral("%1 of %2 messages").arg(received).arg(sent));
    expect(sharedMemoryOf(m_pids) == 0, QStringLiteral("shared memory is left"));
    // Qt makes a socket in a directory of such a name first; who is killed at that
    // moment leaves it.
    const QRegularExpression unfinishedSocket(QStringLiteral("^\\.[A-Za-z]{6}$"));
    QStringList left = entriesOf(m_temporaryDirectory);
    const QStringList unfinished = left.filter(unfinishedSocket);
    for (const QString &name : unfinished)
        left.removeOne(name);
    m_unfinishedSockets = unfinished.size();
    expect(left.isEmpty(), QLatin1String("left: ") + left.join(QLatin1Char(' ')));
    expect(m_unfinishedSockets <= m_killed, QStringLiteral("too many unfinished sockets"));
    const int visitorLogs =
        QDir(m_dir.path() + QStringLiteral("/visitor/appInfo/log")).entryList(QDir::Files).size();
    // Killed between its first line and the pruning of the next start at the latest.
    expect(visitorLogs <= keptLogs + 2, QStringLiteral("%1 log files").arg(visitorLogs));
}

void SoakRun::countLines(TestSupport::LogTally &tally, const QList<QByteArray> &logged)
{
    tally.readToTheEnd();
    expect(tally.fault().isEmpty(), tally.fault());
    for (int thread = 0; thread < loggingThreads; ++thread) {
        const qint64 missing = logged.value(thread).toLongLong() - tally.reached(thread);
        expect(missing == 0 || (missing > 0 && tally.mayMissTheEnd(thread)),
               QStringLiteral("%1 lines are not there").arg(missing));
        m_dropped += missing;
    }
    m_written += tally.written();
    m_dropped += tally.dropped();
    m_changesOfFile += tally.files() - 1;
}

/// What has been done less than it takes to show anything, as of the last sample.
QStringList SoakRun::neglectedWork() const
{
    QStringList neglected;
    const auto require = [this, &neglected](qint64 done, int perDay, const char *what) {
        if (double(done) < std::max(1.0, leastShare * due(perDay, m_minutes * 60)))
            neglected.append(QStringLiteral("%1 %2").arg(done).arg(QLatin1String(what)));
    };
    for (const StationHandle &station : m_stations) {
        require(station.counts.lines, PerDay::lines, "lines");
        require(station.counts.requests, PerDay::requests, "requests");
        require(station.counts.commands, PerDay::commands, "commands");
        require(station.counts.saves, PerDay::saves, "saves");
        require(station.counts.trees, PerDay::trees, "trees");
    }
    require(m_stations.front().counts.sent, PerDay::messages, "messages");
    require(m_started, PerDay::visitors, "instances");
    return neglected;
}

/// Memory is compared after all work, threads and descriptors while all still run.
void SoakRun::judgeGrowth()
{
    const std::size_t early = m_samples.size() / 5;
    const Sample &last = m_samples.back();
    const Sample &atWork = m_samples.at(m_samples.size() - 2);
    for (std::size_t i = 0; i < last.vitals.size(); ++i) {
        Vitals most;
        for (std::size_t s = early; s < std::min(2 * early + 1, m_samples.size()); ++s) {
            const Vitals &vitals = m_samples.at(s).vitals.at(i);
            most.descriptors = std::max(most.descriptors, vitals.descriptors);
            most.threads = std::max(most.threads, vitals.threads);
            most.residentKib = std::max(most.residentKib, vitals.residentKib);
            most.heapKib = std::max(most.heapKib, vitals.heapKib);
        }
        const Vitals &now = last.vitals.at(i);
        const Vitals &working = atWork.vitals.at(i);
        expect(working.descriptors <= most.descriptors + allowedDescriptors,
               QStringLiteral("descriptors grow"));
        expect(working.threads <= most.threads + allowedThreads, QStringLiteral("threads grow"));
        if (!isMemoryOurs)
            continue;
        expect(now.heapKib <= most.heapKib + allowedHeapKib, QStringLiteral("the heap grows"));
        expect(now.residentKib <= most.residentKib + allowedResidentKib,
               QStringLiteral("resident memory grows"));
    }
    expect(m_samples.front().sharedMemory > 0, QStringLiteral("shared memory cannot be counted"));
    expect(last.sharedMemory <= m_samples.front().sharedMemory,
           QStringLiteral("shared memory grows"));
}

void SoakRun::expect(bool isRight, const QString &fault)
{
    if (!isRight)
        m_faults.append(fault);
}

QByteArray SoakRun::report() const
{
    QByteArray text = "Seed " + QByteArray::number(m_seed)
        + ", two stations; \"1 + 2\" is one "
          "number for each.\n\n"
          "| minute | lines | messages | requests | commands | saves | trees "
          "| instances (killed) | descriptors | threads | resident KiB | heap KiB "
          "| shared memory | temporary files |\n"
          "|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|\n";
    for (const Sample &sample : m_samples) {
        const QList<QByteArray> cells{QByteArray::number(sample.minute, 'f', 1),
                                      QByteArray::number(sample.counts.lines),
                                      QByteArray::number(sample.counts.received),
                                      QByteArray::number(sample.counts.requests),
                                      QByteArray::number(sample.counts.commands),
                                      QByteArray::number(sample.counts.saves),
                                      QByteArray::number(sample.counts.trees),
                                      QByteArray::number(sample.started) + " ("
                                          + QByteArray::number(sample.killed) + ')',
                                      both(sample, &Vitals::descriptors),
                                      both(sample, &Vitals::threads),
                                      both(sample, &Vitals::residentKib),
                                      both(sample, &Vitals::heapKib),
                                      QByteArray::number(sample.sharedMemory),
                                      QByteArray::number(sample.temporaryFiles)};
        text += "| " + cells.join(" | ") + " |\n";
    }
    text += "\nLines on disk " + QByteArray::number(m_written) + ", dropped at "
        + QByteArray::number(m_changesOfFile) + " changes of file " + QByteArray::number(m_dropped)
        + ". Left at the end: shared memory " + QByteArray::number(sharedMemoryOf(m_pids))
        + ", temporary files " + QByteArray::number(entriesOf(m_temporaryDirectory).size())
        + ", of these sockets that killed instances were about to make "
        + QByteArray::number(m_unfinishedSockets) + ".\n";
    for (const QString &fault : m_faults)
        text += "FAULT: " + fault.toUtf8() + '\n';
    if (m_faults.isEmpty())
        text += "Nothing grew, no line was lost, no result was wrong.\n";
    return text;
}

} // namespace Soak
