// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef CHILD_H
#define CHILD_H

#include <QtCore/QByteArray>
#include <QtCore/QProcess>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <string>
#include <vector>

namespace Bench {

/// This program again, in one of its roles. Ends with the object: a role that
/// serves does so until its standard input is closed.
class Child
{
public:
    explicit Child(const QString &role, const QStringList &arguments = {});
    ~Child();
    Q_DISABLE_COPY(Child)

    /// The next line of its standard output without the line feed; aborts the
    /// benchmark if none comes.
    QByteArray readLine();

    qint64 pid() const { return m_process.processId(); }

private:
    QProcess m_process;
};

/// The number that a role prints before it ends.
double resultOfRole(const QString &role, const QStringList &arguments = {});

/// Tells the parent of this role that it is ready, and serves an event loop until
/// the parent is done.
int serveEventsUntilParentIsDone();
/// The same without an event loop.
void tellReady();
void waitUntilParentIsDone();

/// Prints the result of a role.
int printResult(double result);

/// Seconds from the start of @p program to its end, its output thrown away; aborts if
/// it fails.
double runProgram(const std::string &program, const std::vector<std::string> &arguments = {});

/// The most memory that this process has had resident, and what it has now.
double peakMebibytes();
double residentMebibytes();

[[noreturn]] void fail(const QString &text);

} // namespace Bench

#endif // CHILD_H
