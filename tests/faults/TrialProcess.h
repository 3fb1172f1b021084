// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef TRIALPROCESS_H
#define TRIALPROCESS_H

#include "faults/Trial.h"

namespace Faults {

/// What a trial's process shares with the runner.
struct TrialMemory
{
    static constexpr int room = 8000;
    State state;
    char complaints[room] = {};
};

/// Runs one trial in @p directory, which it makes, and exits.
[[noreturn]] void runTrial(const Operation &operation, const QString &directory,
                           TrialMemory &memory);

/// Whether the library that injects the faults is there.
bool isPreloaded();

/// Whether each kind of fault reaches a call; says on standard output what does not.
bool checkFaults();

} // namespace Faults

#endif // TRIALPROCESS_H
