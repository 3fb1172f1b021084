// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Demo.h"

#include <algorithm>
#include <cstdio>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int nameWidth = 26;
constexpr int barColumns = 72; // name, bar and seconds
const char backToStart[] = "\r\x1B[K";

/// A terminal wide enough for a bar; one that does not tell its width counts as wide.
bool canDrawInPlace()
{
    if (::isatty(STDOUT_FILENO) != 1 || qgetenv("TERM") == "dumb")
        return false;
    winsize size{};
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0
        || size.ws_col >= barColumns;
}

QString tableRow(const QString &name, const QString &statements, const QString &time)
{
    return "  " + name.leftJustified(nameWidth) + statements.rightJustified(10)
        + time.rightJustified(12);
}

} // namespace

Demo::Demo(bool isQuick)
    : m_isQuick(isQuick)
    , m_isColored(::isatty(STDOUT_FILENO) == 1)
    , m_isAnimated(canDrawInPlace())
{
}

void Demo::headline(const QString &text)
{
    closeSection();
    m_current.name = text.section(':', 0, 0);
    m_sectionTime.start();
    print(QString());
    print(painted("1;36", text));
}

void Demo::fact(const QString &name, const QString &value)
{
    print("  " + name.leftJustified(nameWidth) + value);
}

void Demo::passingFact(const QString &name, const QString &value)
{
    if (!m_isAnimated)
        return;
    const QString line = "  " + name.leftJustified(nameWidth) + value;
    std::printf("%s%s", backToStart, line.toLocal8Bit().constData());
    std::fflush(stdout);
    m_hasPassingFact = true;
}

void Demo::quote(const QString &text)
{
    print("  " + painted("2", "| ") + text);
}

void Demo::check(bool isTrue, const QString &statement)
{
    ++m_current.statements;
    if (!isTrue)
        ++m_current.wrong;
    print("  " + (isTrue ? painted("32", "ok    ") : painted("1;31", "WRONG ")) + statement);
}

void Demo::addToSummary(const QString &name, const QString &value)
{
    m_summary.append({name, value});
}

int Demo::finish()
{
    closeSection();
    print(QString());
    print(painted("1;36", "Summary"));
    print(painted("1", tableRow("Service", "Statements", "Time")));
    Section all;
    all.name = "Together";
    for (const Section &section : qAsConst(m_sections)) {
        printRow(section);
        all.statements += section.statements;
        all.wrong += section.wrong;
        all.timeMs += section.timeMs;
    }
    printRow(all);
    print(QString());
    for (const auto &row : qAsConst(m_summary))
        fact(row.first, row.second);
    print(QString());
    if (all.wrong == 0)
        print(painted("1;32", "Everything shown above was checked and is true."));
    else
        print(painted("1;31", QString("%1 of the statements above are wrong.").arg(all.wrong)));
    return all.wrong == 0 ? 0 : 1;
}

/// Adds the section that ends to the row of its service.
void Demo::closeSection()
{
    if (m_current.name.isEmpty())
        return;
    m_current.timeMs = m_sectionTime.elapsed();
    const auto row =
        std::find_if(m_sections.begin(), m_sections.end(),
                     [this](const Section &section) { return section.name == m_current.name; });
    if (row == m_sections.end()) {
        m_sections.append(m_current);
    } else {
        row->statements += m_current.statements;
        row->wrong += m_current.wrong;
        row->timeMs += m_current.timeMs;
    }
    m_current = Section();
}

void Demo::printRow(const Section &section)
{
    const QString statements = section.wrong == 0 ? QString("%1 ok").arg(section.statements)
                                                  : QString("%1 WRONG").arg(section.wrong);
    print(tableRow(section.name, statements, QString("%1 ms").arg(section.timeMs)));
}

QString Demo::painted(const char *sgr, const QString &text) const
{
    return m_isColored ? QString("\x1B[%1m%2\x1B[0m").arg(QString::fromLatin1(sgr), text) : text;
}

void Demo::print(const QString &text)
{
    if (m_hasPassingFact)
        std::printf("%s", backToStart);
    m_hasPassingFact = false;
    std::printf("%s\n", text.toLocal8Bit().constData());
    std::fflush(stdout);
}
