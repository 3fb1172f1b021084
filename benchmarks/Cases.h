// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef CASES_H
#define CASES_H

#include "Harness.h"

/// The comparisons, one source per service.
namespace Bench {

void addHttpCases(Suite &suite);
void addInstanceCases(Suite &suite);
void addJsonCases(Suite &suite);
void addLogCases(Suite &suite);
void addLogThreadCases(Suite &suite);
void addMd5Cases(Suite &suite);
void addMessageCases(Suite &suite);
void addProcessCases(Suite &suite);
void addRetentionCases(Suite &suite);
void addStartCases(Suite &suite);
void addTimeOrderCases(Suite &suite);
void addTreeCases(Suite &suite);

} // namespace Bench

#endif // CASES_H
