// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Report.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QSysInfo>
#include <QtCore/QThread>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <gnu/libc-version.h>

namespace Bench {

namespace {

constexpr double bytesPerMebibyte = 1 << 20;

const Goal *goalAgainst(const Case &comparison, const std::string &name)
{
    const auto found = std::find_if(comparison.goals.begin(), comparison.goals.end(),
                                    [&name](const Goal &goal) { return goal.against == name; });
    return found != comparison.goals.end() ? &*found : nullptr;
}

QString timeText(double nanoseconds)
{
    if (nanoseconds < 1e4)
        return QString::number(nanoseconds, 'f', nanoseconds < 100 ? 1 : 0) + QStringLiteral(" ns");
    if (nanoseconds < 1e6)
        return QString::number(nanoseconds / 1e3, 'f', 1) + QStringLiteral(" us");
    if (nanoseconds < 1e9)
        return QString::number(nanoseconds / 1e6, 'f', 2) + QStringLiteral(" ms");
    return QString::number(nanoseconds / 1e9, 'f', 3) + QStringLiteral(" s");
}

QString valueText(const Case &comparison, double value)
{
    switch (comparison.unit) {
    case Unit::Nanoseconds:
        return timeText(value);
    case Unit::Throughput:
        return QString::number(comparison.bytes / comparison.operations / bytesPerMebibyte
                                   / (value * 1e-9),
                               'f', 0)
            + QStringLiteral(" MiB/s");
    case Unit::Mebibytes:
        return QString::number(value, 'f', 2) + QStringLiteral(" MiB");
    }
    return {};
}

QString ratioText(double ratio)
{
    return QString::number(ratio, 'f', ratio < 0.01 ? 5 : 3);
}

/// As exact as it is shown: medians repeat to a few thousandths at best.
bool isReached(const Goal &goal, double ratio)
{
    return ratioText(ratio).toDouble() <= goal.ratio;
}

double medianOf(const Measurement &measurement)
{
    return median(measurement.values);
}

QString firstLineWith(const QString &path, const QString &start)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (line.startsWith(start))
            return line.mid(line.indexOf(QLatin1Char(':')) + 1).trimmed();
    }
    return {};
}

QString unitName(Unit unit)
{
    return unit == Unit::Mebibytes ? QStringLiteral("MiB") : QStringLiteral("ns");
}

} // namespace

void printHeader()
{
    std::printf("%-44s %14s %20s  %8s  %s\n", "", "median", "min ... max", "ours/it", "goal");
    std::fflush(stdout);
}

void printCase(const Case &comparison, const std::vector<Measurement> &measurements)
{
    std::printf("%s (%s)\n", comparison.title.c_str(), comparison.name.c_str());
    const double ours = medianOf(measurements.front());
    for (const Measurement &measurement : measurements) {
        if (!measurement.error.empty()) {
            std::printf("  %-42s failed: %s\n", measurement.contestant.c_str(),
                        measurement.error.c_str());
            continue;
        }
        const double theirs = medianOf(measurement);
        const auto range =
            std::minmax_element(measurement.values.begin(), measurement.values.end());
        const QString spread = valueText(comparison, *range.first).section(QLatin1Char(' '), 0, 0)
            + QStringLiteral(" ... ") + valueText(comparison, *range.second);
        std::printf("  %-42s %14s %20s", measurement.contestant.c_str(),
                    qUtf8Printable(valueText(comparison, theirs)), qUtf8Printable(spread));
        if (&measurement != &measurements.front() && theirs > 0) {
            std::printf("  %8s", qUtf8Printable(ratioText(ours / theirs)));
            if (const Goal *goal = goalAgainst(comparison, measurement.contestant))
                std::printf("  <= %s%s", qUtf8Printable(QString::number(goal->ratio)),
                            isReached(*goal, ours / theirs) ? "" : "  not reached");
        }
        std::printf("\n");
    }
    std::fflush(stdout);
}

QJsonObject caseToJson(const Case &comparison, const std::vector<Measurement> &measurements)
{
    QJsonArray contestants;
    const double ours = medianOf(measurements.front());
    for (const Measurement &measurement : measurements) {
        const double theirs = medianOf(measurement);
        QJsonArray values;
        for (const double value : measurement.values)
            values.append(value);
        QJsonObject contestant{
            {QStringLiteral("name"), QString::fromStdString(measurement.contestant)},
            {QStringLiteral("median"), theirs},
            {QStringLiteral("text"), valueText(comparison, theirs)},
            {QStringLiteral("values"), values}};
        if (!measurement.error.empty())
            contestant.insert(QStringLiteral("error"), QString::fromStdString(measurement.error));
        if (&measurement != &measurements.front() && theirs > 0)
            contestant.insert(QStringLiteral("ratio"), ours / theirs);
        if (const Goal *goal = goalAgainst(comparison, measurement.contestant)) {
            contestant.insert(QStringLiteral("goal"), goal->ratio);
            contestant.insert(QStringLiteral("reached"),
                              theirs > 0 && isReached(*goal, ours / theirs));
        }
        contestants.append(contestant);
    }
    QJsonObject object{{QStringLiteral("name"), QString::fromStdString(comparison.name)},
                       {QStringLiteral("title"), QString::fromStdString(comparison.title)},
                       {QStringLiteral("unit"), unitName(comparison.unit)},
                       {QStringLiteral("contestants"), contestants}};
    if (!comparison.point.plot.empty()) {
        object.insert(QStringLiteral("plot"), QString::fromStdString(comparison.point.plot));
        object.insert(QStringLiteral("x"), comparison.point.x);
    }
    return object;
}

QJsonObject conditions()
{
    double load[1] = {};
    (void)::getloadavg(load, 1);
    return {
        {QStringLiteral("date"), QDateTime::currentDateTimeUtc().toString(Qt::ISODate)},
        {QStringLiteral("processor"),
         firstLineWith(QStringLiteral("/proc/cpuinfo"), QStringLiteral("model name"))},
        {QStringLiteral("processors"), QThread::idealThreadCount()},
        {QStringLiteral("memory"),
         firstLineWith(QStringLiteral("/proc/meminfo"), QStringLiteral("MemTotal"))},
        {QStringLiteral("system"), QSysInfo::prettyProductName()},
        {QStringLiteral("kernel"), QSysInfo::kernelVersion()},
        {QStringLiteral("qt"), QString::fromLatin1(qVersion())},
        {QStringLiteral("compiler"), QStringLiteral(__VERSION__)},
        {QStringLiteral("libc"), QString::fromLatin1(gnu_get_libc_version())},
        {QStringLiteral("load"), load[0]},
    };
}

bool writeJson(const QString &path, const QJsonArray &cases)
{
    const QJsonObject root{{QStringLiteral("conditions"), conditions()},
                           {QStringLiteral("cases"), cases}};
    const QByteArray text = QJsonDocument(root).toJson();
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && file.flush();
}

} // namespace Bench
