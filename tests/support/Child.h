// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef CHILD_H
#define CHILD_H

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <vector>

namespace TestSupport {

/// What became of a child process.
struct ChildResult
{
    bool started = false;
    bool timedOut = false; ///< it was still running at the limit and has been killed
    bool crashed = false;  ///< it ended by a signal
    int exitCode = -1;     ///< or the number of the signal
    QByteArray out;
    QByteArray err;

    bool endedWith(int code) const { return started && !timedOut && !crashed && exitCode == code; }
    bool endedBySignal(int signal) const { return crashed && !timedOut && exitCode == signal; }
    /// For failure messages.
    QByteArray report() const;
};

struct ChildOptions
{
    QStringList environment; ///< additions, "NAME=value"; "NAME" alone removes
    QString workingDirectory;
    int limitMs = 30000;
};

/// Runs @p program to its end or to the limit. Its standard input is empty.
ChildResult runChild(const QString &program, const QStringList &arguments,
                     const ChildOptions &options = {});

/// Runs @p program once for each of @p argumentLists, a few at a time. Their output
/// must fit into a pipe.
std::vector<ChildResult> runChildren(const QString &program,
                                     const std::vector<QStringList> &argumentLists,
                                     const ChildOptions &options = {});

/// The path of a helper program, which lies beside the test program if @p name is no path.
QString helperPath(const QString &name);

/// Whether this process can make private mounts with util-linux's unshare.
bool canMountPrivately();

/// As runChild(), in a private mount namespace in which @p setUp (a shell text,
/// usually mounts) has run before. Nothing of it is seen outside.
ChildResult runInPrivateMounts(const QString &setUp, const QString &program,
                               const QStringList &arguments, const ChildOptions &options = {});

} // namespace TestSupport

#endif // CHILD_H
