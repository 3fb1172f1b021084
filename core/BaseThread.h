// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef BASETHREAD_H
#define BASETHREAD_H

#include "core/ZeCoreGlobal.h"

#include <QtCore/QMutex>
#include <QtCore/QString>
#include <QtCore/QThread>

#include <atomic>

/// A QThread that can be asked to stop and that keeps its last failure text.
///
/// A derived class implements run() as a loop that polls isNeedStop(). The
/// stop request may be written and polled by different threads; the other
/// accessors belong to the thread that uses the object.
///
/// stopThread() never clears the stop request: a thread object that has been
/// stopped runs again only after setNeedStop(false) and start().
class ZECORE_EXPORT BaseThread : public QThread
{
    Q_OBJECT

public:
    /// Creates the thread object, not started; @p parent owns it, if given.
    explicit BaseThread(QObject *parent = nullptr);

    /// Whether the thread has been asked to stop. Thread-safe.
    bool isNeedStop() const;
    /// Sets or, with @p needStop false, clears the stop request; it neither wakes nor waits for the
    /// thread. Thread-safe.
    void setNeedStop(bool needStop);

    /// The caller-chosen kind of the thread (0 until set), carried by sigThreadOut().
    int threadType() const;
    /// Sets the kind of the thread to @p threadType, any number.
    void setThreadType(int threadType);

    /// The caller-chosen outcome code of the thread's work (0 until set).
    int result() const;
    /// Sets the outcome code to @p result, any number.
    void setResult(int result);

    /// The most recent failure text, exactly as given; empty if there was none.
    /// The reference is valid as long as the object and changes with setLastError().
    const QString &lastError() const;

    /// Stores @p error and writes it as one warning line.
    ///
    /// @note The text is stored unchanged, line feeds included, unlike in BaseObject.
    void setLastError(const QString &error);

    /// Sets the stop request, asks the thread's event loop to quit and waits
    /// until run() has returned.
    ///
    /// Blocks without limit: a run() that never polls isNeedStop() blocks the
    /// caller for ever. Returns at once if the thread was never started.
    virtual void stopThread();

Q_SIGNALS:
    /// For derived classes to emit when their work ends, with @p threadType or a
    /// number of their own; the base class never does.
    void sigThreadOut(int threadType);

private:
    Q_DISABLE_COPY(BaseThread)

    int m_threadType = 0;
    int m_result = 0;
    std::atomic<bool> m_needStop{false};
    QString m_lastError;

protected:
    /// For the use of derived classes; the base class never locks it.
    QMutex mutex;
};

#endif // BASETHREAD_H
