// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef REPORT_H
#define REPORT_H

#include "Harness.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QString>

namespace Bench {

void printHeader();
void printCase(const Case &comparison, const std::vector<Measurement> &measurements);

QJsonObject caseToJson(const Case &comparison, const std::vector<Measurement> &measurements);

/// Machine, system and versions of a run.
QJsonObject conditions();

bool writeJson(const QString &path, const QJsonArray &cases);

} // namespace Bench

#endif // REPORT_H
