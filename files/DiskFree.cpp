// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "files/DiskFree_p.h"

#include "core/ProcessStart_p.h"

#include <QtCore/QProcess>
#include <QtCore/QStringList>

#include <memory>
#include <utility>

namespace ZeCore {

namespace {

QStringList fieldsOf(const QByteArray &line)
{
    QStringList fields;
    const QStringList parts = QString::fromLatin1(line).split(QLatin1Char(' '));
    for (const QString &part : parts) {
        const QString field = part.trimmed();
        if (!field.isEmpty())
            fields.append(field);
    }
    return fields;
}

DiskFreeLine parseLine(const QByteArray &text)
{
    const QStringList fields = fieldsOf(text);
    DiskFreeLine line;
    line.device = fields.value(0);
    line.size = fields.value(1);
    line.used = fields.value(2);
    line.available = fields.value(3);
    QString percent = fields.value(4);
    percent.chop(1); // the percent sign; it is not looked at
    line.usedPercent = percent.toInt();
    if (!fields.isEmpty())
        line.mountPoint = fields.last();
    return line;
}

} // namespace

QVector<DiskFreeLine> parseDiskFree(const QByteArray &output)
{
    QVector<DiskFreeLine> lines;
    int start = output.indexOf('\n') + 1;
    while (start > 0 && start < output.size()) {
        const int end = output.indexOf('\n', start);
        lines.append(parseLine(output.mid(start, end < 0 ? -1 : end - start)));
        start = end + 1;
    }
    return lines;
}

QByteArray runDiskFree()
{
    constexpr int limitMs = 30000;
    auto process = std::make_unique<QProcess>();
    startProcess(*process, QStringLiteral("df"), {QStringLiteral("-h")});
    process->waitForFinished(limitMs);
    QByteArray output = process->readAllStandardOutput();
    endProcess(std::move(process));
    return output;
}

} // namespace ZeCore
