// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "faults/Runner.h"

#include "faults/TrialProcess.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QRegularExpression>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>
#include <numeric>

#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Faults {

namespace {

/// In memory where that is possible, since a trial makes and removes many files.
QString temporaryPath()
{
    struct statvfs status = {};
    const bool isUsable = ::statvfs("/dev/shm", &status) == 0 && !(status.f_flag & ST_NOEXEC)
        && ::access("/dev/shm", W_OK) == 0;
    return isUsable ? QStringLiteral("/dev/shm") : QDir::tempPath();
}

/// Qt's event loops cannot live without their descriptor: if there is none, Qt ends the
/// program, and no library can prevent it.
bool isEndedByQt(const QString &directory)
{
    return Trial::get(directory + "/console").contains("Can not continue without a thread pipe");
}

} // namespace

/// Room for one trial at a time, in memory that it shares with this process.
struct Runner::Slot
{
    Slot()
    {
        void *const memory = ::mmap(nullptr, sizeof(TrialMemory), PROT_READ | PROT_WRITE,
                                    MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED)
            qFatal("no memory to share");
        shared = new (memory) TrialMemory;
    }
    ~Slot() { ::munmap(shared, sizeof(TrialMemory)); }
    Q_DISABLE_COPY(Slot)

    bool isFree() const { return process == 0; }

    TrialMemory *shared;
    pid_t process = 0;
    bool isLate = false;
    QString directory;
    QElapsedTimer age;
};

Runner::Runner(const Operation &operation)
    : m_operation(operation)
    , m_directory(temporaryPath() + "/zecore-faults-XXXXXX")
{
    const int together = operation.waits ? 32 : 3;
    for (int i = 0; i < together; ++i)
        m_slots.push_back(std::make_unique<Slot>());
}

Runner::~Runner() = default;

QByteArray Runner::run()
{
    return runOnly(QByteArray());
}

QByteArray Runner::runOnly(const QByteArray &description)
{
    Plan count;
    count.allThreads = m_operation.allThreads;
    runAll({count});
    if (!m_complaints.isEmpty())
        return m_complaints;
    QVector<int> counts;
    for (const std::atomic<int> &calls : m_slots.front()->shared->state.counts)
        counts.append(calls);
    m_calls = std::accumulate(counts.cbegin(), counts.cend(), 0);
    std::vector<Plan> plans = plansFor(counts, m_operation.allThreads);
    plans.erase(std::remove_if(plans.begin(), plans.end(),
                               [&description](const Plan &plan) {
                                   return !describe(plan).startsWith(description);
                               }),
                plans.end());
    runAll(plans);
    return m_complaints;
}

void Runner::runAll(const std::vector<Plan> &plans)
{
    const auto isBusy = [](const std::unique_ptr<Slot> &slot) { return !slot->isFree(); };
    for (const Plan &plan : plans) {
        while (std::all_of(m_slots.begin(), m_slots.end(), isBusy))
            waitForOne();
        const auto slot = std::find_if_not(m_slots.begin(), m_slots.end(), isBusy);
        start(**slot, plan);
    }
    while (std::any_of(m_slots.begin(), m_slots.end(), isBusy))
        waitForOne();
}

void Runner::start(Slot &slot, const Plan &plan)
{
    slot.shared = new (slot.shared) TrialMemory;
    slot.shared->state.plan = plan;
    slot.directory = m_directory.filePath(QString::number(m_runs++));
    slot.isLate = false;
    slot.age.start();
    slot.process = ::fork();
    if (slot.process < 0)
        qFatal("cannot fork");
    if (slot.process == 0)
        runTrial(m_operation, slot.directory, *slot.shared); // does not return
    ::setpgid(slot.process, slot.process);                   // either of us comes first
}

/// Returns after a trial has ended, or a while.
void Runner::waitForOne()
{
    constexpr useconds_t pauseUs = 300;
    int status = 0;
    for (const std::unique_ptr<Slot> &slot : m_slots) {
        if (slot->isFree())
            continue;
        if (::waitpid(slot->process, &status, WNOHANG) == slot->process) {
            finish(*slot, status);
            return;
        }
        if (!slot->isLate && slot->age.elapsed() > m_operation.limitMs) {
            slot->isLate = true;
            ::kill(-slot->process, SIGKILL);
        }
    }
    ::usleep(pauseUs);
}

void Runner::finish(Slot &slot, int status)
{
    if (slot.shared->state.killed > 0)
        complain(slot, "    it sends a signal to every process\n");
    const QByteArray said(slot.shared->complaints);
    if (slot.isLate)
        complain(slot, "    it hangs\n");
    else if (WIFSIGNALED(status) && !isEndedByQt(slot.directory))
        complain(slot,
                 "    it crashes: " + QByteArray(::strsignal(WTERMSIG(status))) + '\n' + said);
    else if (WIFEXITED(status) && WEXITSTATUS(status) != 0)
        complain(slot,
                 "    it exits with " + QByteArray::number(WEXITSTATUS(status)) + '\n' + said);
    else if (!said.isEmpty())
        complain(slot, said);
    ::kill(-slot.process, SIGKILL); // what the operation may have left running
    lookForRemains(slot);
    QDir(slot.directory).removeRecursively();
    slot.process = 0;
}

void Runner::lookForRemains(const Slot &slot)
{
    const State &state = slot.shared->state;
    // A lock that cannot be released stays with its file; and Qt does not remove the
    // directory for its socket if it cannot look at it.
    const bool mayStay = state.hit
        && (state.plan.family == Remove || state.plan.family == Control
            || state.plan.family == Status);
    QStringList files =
        QDir(slot.directory + "/tmp")
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    // Qt leaves the empty files that give shared memory and its semaphore their keys, if
    // one of the steps to these fails.
    if (state.hit)
        files = files.filter(QRegularExpression("^(?!qipc_)"));
    if (!files.isEmpty() && !mayStay)
        complain(slot, "    it leaves " + files.join(", ").toUtf8() + '\n');

    struct shmid_ds segment = {};
    for (int i = 0; i < std::min<int>(state.segments.count, Created::room); ++i) {
        const int id = state.segments.ids[i];
        if (::shmctl(id, IPC_STAT, &segment) != 0)
            continue;
        ::shmctl(id, IPC_RMID, nullptr);
        if (!(state.hit && state.plan.family == SharedMemory))
            complain(slot, "    it leaves a shared memory segment\n");
    }
    for (int i = 0; i < std::min<int>(state.semaphores.count, Created::room); ++i) {
        if (::semctl(state.semaphores.ids[i], 0, GETVAL) < 0)
            continue;
        ::semctl(state.semaphores.ids[i], 0, IPC_RMID);
        if (!(state.hit && state.plan.family == Semaphore))
            complain(slot, "    it leaves a semaphore\n");
    }
}

void Runner::complain(const Slot &slot, const QByteArray &complaint)
{
    constexpr int shown = 12; // the rest is more of the same
    if (m_failures++ >= shown)
        return;
    const State &state = slot.shared->state;
    m_complaints += QByteArray("  ") + m_operation.name + ": " + describe(state.plan);
    if (state.hit)
        m_complaints += QByteArray(" (") + state.call + ')';
    m_complaints += ":\n" + complaint;
}

} // namespace Faults
