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
#ifdef ZECORE_HELGRIND // see the preset "valgrind"
#include <valgrind/helgrind.h>
#endif

/// The library's only road to Qt's locks and semaphores.
///
/// Distributions build Qt without ThreadSanitizer, which then does not see that
/// QMutex and QSemaphore order memory and reports correct code; Helgrind does not
/// know them either. These wrappers tell both; in every other build they are the
/// bare Qt calls.
namespace ZeCore {

/// What the checkers are told.
namespace Checker {

#if defined(ZECORE_TSAN)
inline void beforeLock(void *mutex)
{
    __tsan_mutex_pre_lock(mutex, 0);
}
inline void afterLock(void *mutex)
{
    __tsan_mutex_post_lock(mutex, 0, 0);
}
inline void beforeUnlock(void *mutex)
{
    __tsan_mutex_pre_unlock(mutex, 0);
}
inline void afterUnlock(void *mutex)
{
    __tsan_mutex_post_unlock(mutex, 0);
}
inline void releaseMemory(void *object)
{
    __tsan_release(object);
}
inline void acquireMemory(void *object)
{
    __tsan_acquire(object);
}
#elif defined(ZECORE_HELGRIND)
inline void beforeLock(void *mutex)
{
    VALGRIND_HG_MUTEX_LOCK_PRE(mutex, 0);
}
inline void afterLock(void *mutex)
{
    VALGRIND_HG_MUTEX_LOCK_POST(mutex);
}
inline void beforeUnlock(void *mutex)
{
    VALGRIND_HG_MUTEX_UNLOCK_PRE(mutex);
}
inline void afterUnlock(void *mutex)
{
    VALGRIND_HG_MUTEX_UNLOCK_POST(mutex);
}
inline void releaseMemory(void *object)
{
    ANNOTATE_HAPPENS_BEFORE(object);
}
inline void acquireMemory(void *object)
{
    ANNOTATE_HAPPENS_AFTER(object);
}
#else
inline void beforeLock(void * /*mutex*/) { }
inline void afterLock(void * /*mutex*/) { }
inline void beforeUnlock(void * /*mutex*/) { }
inline void afterUnlock(void * /*mutex*/) { }
inline void releaseMemory(void * /*object*/) { }
inline void acquireMemory(void * /*object*/) { }
#endif

/// Every access to @p value is atomic, which Helgrind cannot see.
template <typename Value>
inline void allAccessIsAtomic([[maybe_unused]] const Value &value)
{
#ifdef ZECORE_HELGRIND
    VALGRIND_HG_DISABLE_CHECKING(&value, sizeof(Value));
#endif
}

} // namespace Checker

/// Holds a QMutex for the lifetime of the object.
class MutexLock
{
public:
    explicit MutexLock(QMutex &mutex)
        : m_mutex(mutex)
    {
        Checker::beforeLock(&m_mutex);
        m_mutex.lock();
        Checker::afterLock(&m_mutex);
    }

    ~MutexLock()
    {
        Checker::beforeUnlock(&m_mutex);
        m_mutex.unlock();
        Checker::afterUnlock(&m_mutex);
    }

    Q_DISABLE_COPY(MutexLock)

private:
    QMutex &m_mutex;
};

/// Takes one permit; blocks until there is one.
inline void acquirePermit(QSemaphore &semaphore)
{
    semaphore.acquire();
    Checker::acquireMemory(&semaphore);
}

/// Gives one permit.
inline void releasePermit(QSemaphore &semaphore)
{
    Checker::releaseMemory(&semaphore);
    semaphore.release();
}

/// Lives in a thread's run(): what the thread did happens before threadJoined().
/// (QThread::wait() says so as well, but the checkers cannot see it.)
class ThreadEnd
{
public:
    explicit ThreadEnd(void *thread)
        : m_thread(thread)
    {
    }
    ~ThreadEnd() { Checker::releaseMemory(m_thread); }

    Q_DISABLE_COPY(ThreadEnd)

private:
    void *m_thread;
};

/// To be called after QThread::wait() on @p thread has returned true.
inline void threadJoined(void *thread)
{
    Checker::acquireMemory(thread);
}

/// Reads a public switch that programs assign without a lock, by contract, while
/// other threads log. The read is one plain load that is never torn or repeated.
template <typename Value>
inline Value readShared(const Value &value)
{
    Checker::allAccessIsAtomic(value);
    Value result;
    __atomic_load(&value, &result, __ATOMIC_RELAXED);
    return result;
}

/// Writes such a switch.
template <typename Value>
inline void writeShared(Value &value, Value newValue)
{
    Checker::allAccessIsAtomic(value);
    __atomic_store(&value, &newValue, __ATOMIC_RELAXED);
}

} // namespace ZeCore

#endif // SYNC_P_H
