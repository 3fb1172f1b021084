// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef LOGGINGDEMO_H
#define LOGGINGDEMO_H

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QHash>
#include <QtCore/QStringList>

#include <memory>

class Demo;
class ZeLog;

/// The logger at work: it lives as long as the demonstration, as in a suite program.
class LoggingDemo
{
public:
    /// Leaves a full log directory behind for the logger to prune, starts it and
    /// installs its handler. The echo goes to a file instead of burying the report.
    explicit LoggingDemo(Demo &demo);
    ~LoggingDemo();

    /// Four threads log while a shell command runs.
    void showParallelLogging();
    /// The file grows beyond its limit and a new one begins.
    void showChangeOfFile();
    /// Brings the logger to its clean stop.
    void stop();

private:
    Q_DISABLE_COPY(LoggingDemo)

    QStringList logFiles() const;
    QString currentFile() const;
    bool waitUntilWritten(int lines);

    Demo &m_demo;
    QString m_logDir;
    QString m_consolePath;
    QElapsedTimer m_time;
    std::unique_ptr<ZeLog> m_log;
    int m_savedStderr = -1;
    int m_linesLogged = 0;
};

#endif // LOGGINGDEMO_H
