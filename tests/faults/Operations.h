// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef OPERATIONS_H
#define OPERATIONS_H

#include "faults/Trial.h"

#include <vector>

/// The table of the public operations, one list for each folder of the library.
///
/// Not in it are the operations that ask the system for nothing: comparisons,
/// conversions, texts of colours, the signal bus, plain accessors.
namespace Faults {

using Operations = std::vector<Operation>;

/// That the file of settings at @p path is the old one or has become @p content.
///
/// Two losses are Qt's: release 5.15 takes a file of settings that it cannot read for an
/// empty one, and does not notice that what it replaces the file by is cut.
void requireSettings(Trial &trial, const QString &path, const QByteArray &content);

Operations fileOperations();
Operations retentionOperations();
Operations httpOperations();
Operations logOperations();
Operations instanceOperations();
Operations dataFileOperations();
Operations systemOperations();

} // namespace Faults

#endif // OPERATIONS_H
