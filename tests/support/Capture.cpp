// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "support/Capture.h"

#include <cstdio>
#include <mutex>

namespace TestSupport {

namespace {

std::mutex s_mutex;
QStringList s_lines;

void catchMessage(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
{
    if (type == QtFatalMsg) // the process ends, and nobody would see why
        std::fprintf(stderr, "%s\n", qPrintable(text));
    static const char letters[] = {'D', 'W', 'C', 'F', 'I'};
    const std::lock_guard<std::mutex> lock(s_mutex);
    s_lines.append(QString(QLatin1Char(letters[type])) + QLatin1Char(' ') + text);
}

} // namespace

Capture::Capture()
    : m_previous(qInstallMessageHandler(catchMessage))
{
    take();
}

Capture::~Capture()
{
    qInstallMessageHandler(m_previous);
    take();
}

QStringList Capture::lines() const
{
    const std::lock_guard<std::mutex> lock(s_mutex);
    return s_lines;
}

QStringList Capture::take()
{
    const std::lock_guard<std::mutex> lock(s_mutex);
    QStringList lines;
    lines.swap(s_lines);
    return lines;
}

} // namespace TestSupport
