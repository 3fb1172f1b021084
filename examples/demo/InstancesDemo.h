// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef INSTANCESDEMO_H
#define INSTANCESDEMO_H

#include <optional>

class Demo;
class QtSingleCoreApplication;

/// Other instances of this program: one brings a message, one is killed, one tidies up.
void showInstances(Demo &demo, QtSingleCoreApplication &app);

/// The other instances' own main(): the exit status if the arguments ask for one.
std::optional<int> runAsOtherInstance(int &argc, char **argv);

#endif // INSTANCESDEMO_H
