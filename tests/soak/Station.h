// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef STATION_H
#define STATION_H

#include <QtCore/QByteArray>
#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QTimer>

#include <array>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

class QtSingleCoreApplication;
class ZeLog;

namespace Soak {

/// How often a station has done what, in this order on the wire.
struct Counts
{
    static constexpr int size = 8;

    qint64 lines = 0;
    qint64 sent = 0;
    qint64 received = 0;
    qint64 requests = 0;
    qint64 commands = 0;
    qint64 saves = 0;
    qint64 trees = 0;
    qint64 events = 0;

    QByteArray toWords() const;
    static Counts fromWords(const QList<QByteArray> &words, int first);
};

/// A program that runs for a long time and uses all services at the rates of a day,
/// compressed. It looks at every result.
class Station : public QObject
{
    Q_OBJECT

public:
    Station(QtSingleCoreApplication &app, const QString &serverUrl);
    ~Station() override;

    /// The station that gets this one's messages.
    void setPeer(qint64 pid) { m_peer = pid; }

    /// "counts... vitals... first fault", in one line.
    QByteArray report() const;
    /// Ends the work and the logger; says how many lines each thread has logged.
    QByteArray stop();

private:
    void work();
    void logLines(int thread);
    void receive(const QString &text, QObject *socket);
    void send();
    void request();
    void runCommand();
    void save();
    void useTree();
    void expect(bool isRight, const QString &what);

    QtSingleCoreApplication &m_app;
    QString m_serverUrl;
    QString m_directory;
    qint64 m_peer = 0;
    qint64 m_nextFromPeer = 0;
    Counts m_counts;
    QString m_fault;
    QElapsedTimer m_clock;
    QTimer m_timer;
    std::unique_ptr<ZeLog> m_log;
    std::atomic<bool> m_stops{false};
    std::array<std::atomic<qint64>, 2> m_logged{};
    std::vector<std::thread> m_threads;
};

/// Runs a station until its standard input ends.
int runStation(int argc, char **argv, const QString &serverUrl);

/// A short-lived instance: starts all, sends a message to the first one, goes.
int runVisitor(int argc, char **argv, const QString &message);

} // namespace Soak

#endif // STATION_H
