// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Demo.h"

#include <cstdio>

#include <unistd.h>

namespace {

constexpr int nameWidth = 26;

} // namespace

Demo::Demo(bool isQuick)
    : m_isQuick(isQuick)
    , m_isColored(::isatty(STDOUT_FILENO) == 1)
{
}

void Demo::headline(const QString &text)
{
    print(QString());
    print(painted("1;36", text));
}

void Demo::fact(const QString &name, const QString &value)
{
    print("  " + name.leftJustified(nameWidth) + value);
}

void Demo::quote(const QString &text)
{
    print("  " + painted("2", "| ") + text);
}

void Demo::check(bool isTrue, const QString &statement)
{
    if (!isTrue)
        ++m_failures;
    print("  " + (isTrue ? painted("32", "ok    ") : painted("1;31", "WRONG ")) + statement);
}

void Demo::addToSummary(const QString &name, const QString &value)
{
    m_summary.append({name, value});
}

int Demo::finish()
{
    headline("Summary");
    for (const auto &row : qAsConst(m_summary))
        fact(row.first, row.second);
    print(QString());
    if (m_failures == 0)
        print(painted("1;32", "Everything shown above was checked and is true."));
    else
        print(painted("1;31", QString("%1 of the statements above are wrong.").arg(m_failures)));
    return m_failures == 0 ? 0 : 1;
}

QString Demo::painted(const char *sgr, const QString &text) const
{
    return m_isColored ? QString("\x1B[%1m%2\x1B[0m").arg(QString::fromLatin1(sgr), text) : text;
}

void Demo::print(const QString &text)
{
    std::printf("%s\n", text.toLocal8Bit().constData());
    std::fflush(stdout);
}
