// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef RATES_H
#define RATES_H

/// What a program of the suite does within 24 hours: the assumption behind the
/// figures of a soak run, which passes a day in ten minutes.
namespace Soak {

constexpr double secondsOfADay = 24 * 60 * 60;
constexpr double secondsForADay = 10 * 60;

/// How often something is done in a day.
struct PerDay
{
    static constexpr int lines = 864000;  ///< 10 per second, by the program itself
    static constexpr int messages = 1440; ///< to another instance, one a minute
    static constexpr int requests = 8640; ///< GET, one every 10 seconds
    static constexpr int commands = 8640; ///< of the shell, one every 10 seconds
    static constexpr int saves = 8640;    ///< JSON, INI, text and digest, every 10 seconds
    static constexpr int trees = 1440;    ///< copied, listed, pruned, removed: one a minute
    static constexpr int visitors = 1000; ///< instances started; of these, by chance
    static constexpr double killed = 0.3; ///< killed with SIGKILL at some moment
};

/// How many of @p perDay belong into the first @p seconds of a run.
inline double due(int perDay, double seconds)
{
    return perDay * seconds / secondsForADay;
}

constexpr int loggingThreads = 2; ///< in each station
constexpr int linePadding = 20;
constexpr char applicationId[] = "zecore-soak";

} // namespace Soak

#endif // RATES_H
