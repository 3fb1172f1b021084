// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "support/TestClock.h"

#include <atomic>

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr qint64 runs = -1;
std::atomic<qint64> s_stoppedAtMs{runs};

int now(clockid_t clock, timespec *time)
{
    const qint64 stoppedAt = s_stoppedAtMs.load();
    if (clock != CLOCK_REALTIME || stoppedAt == runs)
        return static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
    time->tv_sec = static_cast<time_t>(stoppedAt / 1000);
    time->tv_nsec = static_cast<long>(stoppedAt % 1000 * 1000000);
    return 0;
}

} // namespace

// These stand before the C library's in the order of symbol look-up.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {

int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    return now(clock, time);
}

int gettimeofday(timeval *time, void * /*zone*/) noexcept
{
    timespec precise{};
    now(CLOCK_REALTIME, &precise);
    time->tv_sec = precise.tv_sec;
    time->tv_usec = precise.tv_nsec / 1000;
    return 0;
}

time_t time(time_t *result) noexcept
{
    // The real one reads the kernel's coarse clock, which lags by some milliseconds.
    timespec coarse{};
    now(CLOCK_REALTIME, &coarse);
    if (coarse.tv_nsec < 4000000)
        --coarse.tv_sec;
    if (result)
        *result = coarse.tv_sec;
    return coarse.tv_sec;
}

} // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace TestClock {

void set(qint64 msecsSinceEpoch)
{
    s_stoppedAtMs = msecsSinceEpoch;
}

void set(const QDateTime &time)
{
    set(time.toMSecsSinceEpoch());
}

void reset()
{
    s_stoppedAtMs = runs;
}

} // namespace TestClock
