// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef UTILITYDEMO_H
#define UTILITYDEMO_H

class Demo;

/// One event on the bus reaches receivers in two threads.
void showSignalBus(Demo &demo);
/// Which version counts as lower than which.
void showVersions(Demo &demo);
/// The journal of what a user did.
void showActionHistory(Demo &demo);

#endif // UTILITYDEMO_H
