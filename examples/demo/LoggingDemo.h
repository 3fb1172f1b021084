// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef LOGGINGDEMO_H
#define LOGGINGDEMO_H

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>

class Demo;
class Progress;
class ZeLog;

/// Counts the lines of a file that grows; reads only what is new.
class LineCounter
{
public:
    /// The line feeds in the file at @p path so far; a new path starts anew.
    int count(const QString &path);

private:
    QString m_path;
    qint64 m_offset = 0;
    int m_lines = 0;
};

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
    bool waitUntilWritten(int lines, Progress *progress = nullptr);
    bool hasEveryLineOnce(int linesPerThread) const;
    bool fillFile(const QString &path);

    Demo &m_demo;
    QString m_logDir;
    QString m_consolePath;
    LineCounter m_written;
    std::unique_ptr<ZeLog> m_log;
    int m_savedStderr = -1;
    int m_linesLogged = 0;
};

#endif // LOGGINGDEMO_H
