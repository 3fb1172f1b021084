// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef PROCESSSTART_P_H
#define PROCESSSTART_P_H

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>

QT_BEGIN_NAMESPACE
class QProcess;
QT_END_NAMESPACE

namespace ZeCore {

/// The library's only road to QProcess::start().
///
/// If the system makes no new process, as at a user's limit, the start has failed:
/// @p process is QProcess::NotRunning then and errorString() tells why. It must not be
/// closed or killed in that state, only destroyed.
void startProcess(QProcess &process, const QString &program, const QStringList &arguments);

/// Kills @p process if it is still running, and deletes it.
///
/// A process that waits in the kernel, for a network mount for example, cannot be killed.
/// Its object then outlives the call, since the destructor would wait as long. Blocks for
/// at most a second.
void endProcess(std::unique_ptr<QProcess> process);

} // namespace ZeCore

#endif // PROCESSSTART_P_H
