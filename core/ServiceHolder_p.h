// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef SERVICEHOLDER_P_H
#define SERVICEHOLDER_P_H

#include "core/Sync_p.h"

#include <QtCore/QSharedPointer>

#include <atomic>
#include <mutex>
#include <utility>

namespace ZeCore {

/// Creation, release and teardown of one process-wide service object.
///
/// Each service keeps its public `instance` pointer and creation `_mutex`; this
/// class holds what they cannot: whether the object still lives. It is deleted
/// exactly once, by whoever comes first: releaseThis(), which leaves `instance`
/// pointing at it because callers rely on that, or the destruction of `instance`
/// at the end of the process.
///
/// The private state is constant-initialised and never destroyed, so it can be
/// used by static constructors and during exit.
template <typename Service>
class ServiceHolder
{
public:
    /// Returns @p instance, creating the object on first use under @p mutex.
    static QSharedPointer<Service> &init(QSharedPointer<Service> &instance, QMutex &mutex)
    {
        if (s_ready.load(std::memory_order_acquire) && !instance.isNull())
            return instance;
        const MutexLock lock(mutex);
        if (instance.isNull()) {
            auto *service = new Service;
            {
                const std::lock_guard<std::mutex> life(s_lifeMutex);
                s_live = service;
            }
            instance = QSharedPointer<Service>(service, &ServiceHolder::destroyUnlessReleased);
        }
        s_ready.store(true, std::memory_order_release);
        return instance;
    }

    /// Deletes the object if it lives. The creation pointer is left as it is.
    static void release()
    {
        Service *service = nullptr;
        {
            const std::lock_guard<std::mutex> life(s_lifeMutex);
            service = std::exchange(s_live, nullptr);
            if (service)
                s_released = service;
        }
        delete service;
    }

    /// Calls @p use with the object while nobody can delete it; returns false
    /// without calling if it was not created yet or lives no more.
    /// @p use must not log: logging may lead back here.
    template <typename Use>
    static bool withLive(Use use)
    {
        const std::lock_guard<std::mutex> life(s_lifeMutex);
        if (!s_live)
            return false;
        use(*s_live);
        return true;
    }

private:
    /// The shared pointer's end: @p service may be long gone.
    static void destroyUnlessReleased(Service *service)
    {
        {
            const std::lock_guard<std::mutex> life(s_lifeMutex);
            if (service == s_released)
                return;
            if (service == s_live)
                s_live = nullptr;
        }
        delete service;
    }

    static inline std::atomic<bool> s_ready{false};
    static inline std::mutex s_lifeMutex;
    static inline Service *s_live = nullptr;
    static inline const Service *s_released = nullptr;
};

} // namespace ZeCore

#endif // SERVICEHOLDER_P_H
