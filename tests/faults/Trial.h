// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef TRIAL_H
#define TRIAL_H

#include "faults/FaultPlan.h"

#include <QtCore/QByteArray>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <functional>
#include <memory>
#include <sys/types.h>

namespace Faults {

/// "file " and the content of files (large ones are just "large") and the kinds of
/// everything else, by path.
using Tree = QMap<QString, QByteArray>;

/// One run of an operation in a process and a directory of its own: what the
/// operation is given, and what is thought of the result.
class Trial
{
public:
    Trial(QString directory, const State &state);

    // ---- What there is

    /// The path of @p relative below the directory that the operation works on.
    QString path(const QString &relative = QString()) const;
    /// The path of @p relative beside the program, as the library sees it.
    QString programPath(const QString &relative = QString()) const;
    QString temporaryPath() const;

    /// Makes the file with all directories above it.
    static void put(const QString &path, const QByteArray &content, unsigned mode = 0644);
    /// The content; null if there is no such file.
    static QByteArray get(const QString &path);

    // ---- What came out; set by the action

    QVariant value;

    // ---- What is thought of it

    /// Whether the fault has come. If not, the operation has to succeed.
    bool isDisturbed() const { return m_state.hit; }
    /// Whether it came to a call of @p family.
    bool isDisturbedIn(Family family) const
    {
        return isDisturbed() && m_state.plan.family == family;
    }
    /// Whether bytes are lost on their way to a file.
    bool losesBytes() const;

    /// The log lines of the action, as "W text", "D text".
    const QStringList &lines() const { return m_lines; }
    int error() const { return m_state.plan.error; }
    bool hasLineWith(const QString &part) const;
    const Tree &before() const { return m_before; }
    const Tree &after() const { return m_after; }

    void require(bool condition, const QString &complaint);
    /// That the operation had a reason to fail and has written a line with one of @p parts.
    void requireFailure(const QStringList &parts);
    /// The same for a failure that has no text.
    void requireReason();
    /// That everything below @p path (or that file) is as before.
    void requireUnchanged(const QString &path);
    /// That everything else is as before.
    void requireUnchangedBeside(const QString &path);
    /// That the file at @p path has its old content or @p content.
    void requireOldOr(const QString &path, const QByteArray &content);
    void requireContent(const QString &path, const QByteArray &content);
    void requireMissing(const QString &path);

    // ---- For the runner

    void setLines(const QStringList &lines) { m_lines = lines; }
    void noteBefore();
    void noteAfter();
    QByteArray complaints() const { return m_complaints; }
    const QString &directory() const { return m_directory; }

private:
    void requireUnchanged(const std::function<bool(const QString &)> &concerns);

    QString m_directory;
    const State &m_state;
    QStringList m_lines;
    Tree m_before;
    Tree m_after;
    QByteArray m_complaints;
};

/// A line of the table: a public operation and how to judge it.
///
/// prepare() and act() share what they need through the trial's directory, or by
/// what their functions capture: each trial has its own copy of the process.
struct Operation
{
    using Step = std::function<void(Trial &)>;

    const char *name;
    Step prepare;               ///< sets the scene; no application object yet
    Step act;                   ///< the operation, and nothing else
    Step judge;                 ///< complains
    Step warmUp = nullptr;      ///< with the application object, before anything is counted
    Step tidyUp = nullptr;      ///< after descriptors have been counted
    bool allThreads = false;    ///< faults come to every thread, not only the caller's
    bool isApplication = false; ///< the operation makes the application object itself
    bool waits = false;         ///< mostly asleep: many at once
    bool detaches = false;      ///< leaves processes that go on
    int limitMs = 10000;
};

} // namespace Faults

#endif // TRIAL_H
