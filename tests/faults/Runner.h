// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef RUNNER_H
#define RUNNER_H

#include "faults/Injection.h"
#include "faults/Trial.h"

#include <QtCore/QByteArray>
#include <QtCore/QTemporaryDir>
#include <QtCore/QVector>

#include <memory>
#include <vector>

namespace Faults {

/// Runs an operation once in peace, and once more for everything that can happen to
/// its calls. Each run is a forked process, so this one must have no threads.
class Runner
{
public:
    explicit Runner(const Operation &operation);
    ~Runner();
    Q_DISABLE_COPY(Runner)

    /// What went wrong, run by run; empty if nothing did.
    QByteArray run();
    /// As run(), for the faults whose description begins with @p description.
    QByteArray runOnly(const QByteArray &description);

    int calls() const { return m_calls; }
    int runs() const { return m_runs; }

private:
    struct Slot;

    void runAll(const std::vector<Plan> &plans);
    void start(Slot &slot, const Plan &plan);
    void waitForOne();
    void finish(Slot &slot, int status);
    void lookForRemains(const Slot &slot);
    void complain(const Slot &slot, const QByteArray &complaint);

    const Operation &m_operation;
    QTemporaryDir m_directory;
    std::vector<std::unique_ptr<Slot>> m_slots;
    QByteArray m_complaints;
    int m_calls = 0;
    int m_runs = 0;
    int m_failures = 0;
};

} // namespace Faults

#endif // RUNNER_H
