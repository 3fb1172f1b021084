// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef STOPWATCH_H
#define STOPWATCH_H

#include <chrono>

namespace Bench {

/// Measures from its construction on.
class Stopwatch
{
public:
    double seconds() const { return std::chrono::duration<double>(Clock::now() - m_start).count(); }

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point m_start = Clock::now();
};

} // namespace Bench

#endif // STOPWATCH_H
