// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef TESTCLOCK_H
#define TESTCLOCK_H

#include <QtCore/QDateTime>

/// The wall clock of a test program that links TestClock.cpp: the program defines
/// the C library's clock functions itself, so that every library in the process,
/// Qt included, reads the time that the test has set.
namespace TestClock {

/// Stops the clock at @p msecsSinceEpoch.
void set(qint64 msecsSinceEpoch);
/// As above.
void set(const QDateTime &time);
/// Lets the clock show the real time again.
void reset();

/// Holds a stopped clock for a scope.
class Stopped
{
public:
    explicit Stopped(const QDateTime &time) { set(time); }
    ~Stopped() { reset(); }
    Q_DISABLE_COPY(Stopped)
};

} // namespace TestClock

#endif // TESTCLOCK_H
