// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef LOGQUEUE_H
#define LOGQUEUE_H

#include "core/Sync_p.h"
#include "log/ZeLog.h"

#include <QtCore/QMessageLogContext>
#include <QtCore/QString>
#include <QtCore/QThread>

/// The queue of the logger seen from a program that has to know what is on disk.
namespace TestSupport {

inline void logText(const QString &text)
{
    ZeLog::outputMessage(QtDebugMsg, QMessageLogContext(), text);
}

inline int queueLength()
{
    const ZeCore::MutexLock lock(ZeLog::_mutex);
    return ZeLog::_stringList.size();
}

/// The oldest line that waits; null if none does.
inline QString frontOfQueue()
{
    const ZeCore::MutexLock lock(ZeLog::_mutex);
    return ZeLog::_stringList.isEmpty() ? QString() : ZeLog::_stringList.first();
}

/// Returns once the writer has taken all that is queued now. Lines must differ.
inline void waitUntilTaken()
{
    const QString front = frontOfQueue();
    while (!front.isNull() && frontOfQueue() == front)
        QThread::usleep(100);
}

/// Returns once all lines that are queued now are on disk or dropped: the writer is
/// done with them when it takes more.
inline void waitUntilWritten()
{
    waitUntilTaken();
    logText(QStringLiteral("the line after the one that matters"));
    waitUntilTaken();
}

/// Ends @p log as its documentation asks for.
inline void stopCleanly(ZeLog &log)
{
    log.setNeedStop(true);
    ZeCore::releasePermit(ZeLog::_synSem);
    log.wait();
    ZeCore::threadJoined(&log);
}

} // namespace TestSupport

#endif // LOGQUEUE_H
