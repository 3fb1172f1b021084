// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "core/ProcessStart_p.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QProcess>

#include <cerrno>

namespace ZeCore {

namespace {

/// Opens what QProcess keeps for classes derived from it. Such a class itself would not
/// do: Qt starts the processes of another class in another way.
struct ProcessParts : QProcess
{
    using QProcess::setErrorString;
    using QProcess::setProcessState;
};

/// Qt's text, which Qt's own catalogues translate. Not at its place, where it would get
/// into the library's.
constexpr char forkFailure[] = "Resource error (fork failure): %1";

} // namespace

void startProcess(QProcess &process, const QString &program, const QStringList &arguments)
{
    errno = 0;
    process.start(program, arguments);
    const int error = errno;
    if (process.state() == QProcess::NotRunning || process.processId() > 0)
        return;
    // Qt 5.15 takes the -1 of a system call that failed for the id of a process. It might
    // wait for it for ever; and to kill it is to kill every process of the user.
    (process.*&ProcessParts::setProcessState)(QProcess::NotRunning);
    const QString reason = qt_error_string(error != 0 ? error : EAGAIN);
    (process.*&ProcessParts::setErrorString)(QProcess::tr(forkFailure).arg(reason));
}

void endProcess(std::unique_ptr<QProcess> process)
{
    constexpr int limitMs = 1000;
    if (process->state() == QProcess::NotRunning)
        return;
    process->kill();
    // Waiting may also fail for reasons that pass.
    const QDeadlineTimer deadline(limitMs);
    while (process->state() != QProcess::NotRunning && !deadline.hasExpired())
        process->waitForFinished(static_cast<int>(deadline.remainingTime()));
    if (process->state() == QProcess::NotRunning)
        return;
    QProcess *hanging = process.release();
    QObject::connect(hanging, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished),
                     hanging, &QObject::deleteLater);
}

} // namespace ZeCore
