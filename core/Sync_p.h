// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef SYNC_P_H
#define SYNC_P_H

#include <QtCore/QMutex>
#include <QtCore/QSemaphore>

#if defined(__SANITIZE_THREAD__)
#define ZECORE_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZECORE_TSAN 1
#endif
#endif
#ifdef ZECORE_TSAN
#include <sanitizer/tsan_interface.h>
#endif

/// The library's only road to Qt's locks and semaphores.
///
/// Distributions build Qt without ThreadSanitizer, which then does not see that
/// QMutex and QSemaphore order memory and reports correct code. These wrappers
/// tell it; in every other build they are the bare Qt calls.
namespace ZeCore {

/// Holds a QMutex for the lifetime of the object.
class MutexLock
{
public:
    explicit MutexLock(QMutex &mutex)
        : m_mutex(mutex)
    {
#ifdef ZECORE_TSAN
        __tsan_mutex_pre_lock(&m_mutex, 0);
        m_mutex.lock();
        __tsan_mutex_post_lock(&m_mutex, 0, 0);
#else
        m_mutex.lock();
#endif
    }

    ~MutexLock()
    {
#ifdef ZECORE_TSAN
        __tsan_mutex_pre_unlock(&m_mutex, 0);
        m_mutex.unlock();
        __tsan_mutex_post_unlock(&m_mutex, 0);
#else
        m_mutex.unlock();
#endif
    }

    Q_DISABLE_COPY(MutexLock)

private:
    QMutex &m_mutex;
};

/// Takes one permit; blocks until there is one.
inline void acquirePermit(QSemaphore &semaphore)
{
    semaphore.acquire();
#ifdef ZECORE_TSAN
    __tsan_acquire(&semaphore);
#endif
}

/// Gives one permit.
inline void releasePermit(QSemaphore &semaphore)
{
#ifdef ZECORE_TSAN
    __tsan_release(&semaphore);
#endif
    semaphore.release();
}

/// Lives in a thread's run(): what the thread did happens before threadJoined().
/// (QThread::wait() says so as well, but ThreadSanitizer cannot see it.)
class ThreadEnd
{
public:
    explicit ThreadEnd(void *thread)
        : m_thread(thread)
    {
    }
    ~ThreadEnd()
    {
#ifdef ZECORE_TSAN
        __tsan_release(m_thread);
#endif
    }

    Q_DISABLE_COPY(ThreadEnd)

private:
    [[maybe_unused]] void *m_thread;
};

/// To be called after QThread::wait() on @p thread has returned true.
inline void threadJoined([[maybe_unused]] void *thread)
{
#ifdef ZECORE_TSAN
    __tsan_acquire(thread);
#endif
}

/// Reads a public switch that programs assign without a lock, by contract, while
/// other threads log. The read is one plain load that is never torn or repeated.
template <typename Value>
inline Value readShared(const Value &value)
{
    Value result;
    __atomic_load(&value, &result, __ATOMIC_RELAXED);
    return result;
}

/// Writes such a switch.
template <typename Value>
inline void writeShared(Value &value, Value newValue)
{
    __atomic_store(&value, &newValue, __ATOMIC_RELAXED);
}

} // namespace ZeCore

#endif // SYNC_P_H
