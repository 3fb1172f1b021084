// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef DEMO_H
#define DEMO_H

#include <QtCore/QList>
#include <QtCore/QPair>
#include <QtCore/QString>
#include <QtCore/QTemporaryDir>

/// What the sections of the demonstration share: a directory to work in, output
/// for a person to read, and the checks that decide about the exit status.
class Demo
{
public:
    explicit Demo(bool isQuick);

    /// Less of everything: the demonstration runs as a test.
    bool isQuick() const { return m_isQuick; }

    /// A temporary directory that plays the part of the program's own one.
    QString directory() const { return m_directory.path(); }

    /// Begins a section.
    void headline(const QString &text);
    /// One fact, aligned with the others.
    void fact(const QString &name, const QString &value);
    /// Text as it is, indented.
    void quote(const QString &text);
    /// Shows a statement with a mark; a false one makes the demonstration fail.
    void check(bool isTrue, const QString &statement);

    /// A row of the closing table.
    void addToSummary(const QString &name, const QString &value);
    /// Prints the closing table and the verdict; returns the exit status.
    int finish();

private:
    QString painted(const char *sgr, const QString &text) const;
    void print(const QString &text);

    bool m_isQuick;
    bool m_isColored;
    int m_failures = 0;
    QTemporaryDir m_directory;
    QList<QPair<QString, QString>> m_summary;
};

#endif // DEMO_H
