// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef INJECTION_H
#define INJECTION_H

#include "faults/FaultPlan.h"

#include <QtCore/QByteArray>
#include <QtCore/QVector>

#include <vector>

namespace Faults {

/// "open", "socket": what complaints call the calls of @p family.
QByteArray nameOf(Family family);

/// "3rd open fails with EMFILE".
QByteArray describe(const Plan &plan);

/// Everything that is to happen to the calls of an operation that makes as many of
/// them as @p counts says, one plan for each.
///
/// Every call of a family has its turn if there are up to 40; of more, as of the polls
/// of a long wait or of the files of a directory, 40 that are spread evenly, the first
/// and the last among them.
std::vector<Plan> plansFor(const QVector<int> &counts, bool allThreads);

} // namespace Faults

#endif // INJECTION_H
