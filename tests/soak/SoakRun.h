// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef SOAKRUN_H
#define SOAKRUN_H

#include "Station.h"
#include "Vitals.h"
#include "http/HttpServer.h"
#include "singleapp/LiveChild.h"
#include "support/LogTally.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QProcess>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>

#include <memory>
#include <random>
#include <vector>

namespace Soak {

/// One of the two long-lived programs, as the run sees it.
struct StationHandle
{
    std::unique_ptr<TestSupport::LiveChild> process;
    std::unique_ptr<TestSupport::LogTally> tally;
    Counts counts;
    Vitals vitals;
};

/// The state of everything at one moment.
struct Sample
{
    double minute = 0;
    Counts counts; ///< of both stations
    int started = 0;
    int killed = 0;
    std::vector<Vitals> vitals; ///< of each station
    int sharedMemory = 0;
    int temporaryFiles = 0;
};

/// Runs the stations, the web server and the visitors, and watches them.
class SoakRun
{
public:
    SoakRun(double minutes, unsigned seed);

    /// Returns the exit status; report() tells all then.
    int exec();

    QByteArray report() const;

private:
    QString makeProgram(const QString &name);
    void startStation(const QString &name);
    void startVisitor();
    void reapVisitors();
    void serveEvents(int ms);
    void watch();
    void takeSample(double minute);
    void stopStations();
    void countLines(TestSupport::LogTally &tally, const QList<QByteArray> &logged);
    QStringList neglectedWork() const;
    void judgeGrowth();
    void expect(bool isRight, const QString &fault);
    double seconds() const { return double(m_clock.elapsed()) / 1000; }

    double m_minutes;
    unsigned m_seed;
    std::mt19937 m_random;
    QTemporaryDir m_dir;
    QString m_temporaryDirectory;
    QString m_visitorProgram;
    HttpServer m_server;
    std::vector<StationHandle> m_stations;
    std::vector<std::unique_ptr<QProcess>> m_visitors;
    QSet<qint64> m_pids; ///< of all that ever ran
    int m_started = 0;
    int m_killed = 0;
    qint64 m_written = 0;
    qint64 m_dropped = 0;
    int m_changesOfFile = 0;
    int m_unfinishedSockets = 0;
    std::vector<Sample> m_samples;
    QStringList m_faults;
    QElapsedTimer m_clock;
};

} // namespace Soak

#endif // SOAKRUN_H
