// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef FLOOD_H
#define FLOOD_H

#include <QtCore/QtGlobal>

#include <array>

// What flood_child and the tests that start it have to agree on.

constexpr int floodThreads = 4;
constexpr int floodPadding = 30;

/// For each thread the number of lines with which the writer is done.
using FloodProgress = std::array<qint64, floodThreads>;

#endif // FLOOD_H
