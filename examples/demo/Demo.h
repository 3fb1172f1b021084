// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef DEMO_H
#define DEMO_H

#include <QtCore/QElapsedTimer>
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

    /// Whether lines may be drawn again in place: not into a pipe or a file, nor
    /// on a terminal that is too narrow for a bar.
    bool isAnimated() const { return m_isAnimated; }

    /// A temporary directory that plays the part of the program's own one.
    QString directory() const { return m_directory.path(); }

    /// Begins a section. What stands before the colon of @p text is its row in the
    /// closing table; sections with the same one share a row.
    void headline(const QString &text);
    /// One fact, aligned with the others.
    void fact(const QString &name, const QString &value);
    /// A fact that the next call draws over. Does nothing unless isAnimated().
    void passingFact(const QString &name, const QString &value);
    /// Text as it is, indented.
    void quote(const QString &text);
    /// Shows a statement with a mark; a false one makes the demonstration fail.
    void check(bool isTrue, const QString &statement);

    /// A row below the closing table.
    void addToSummary(const QString &name, const QString &value);
    /// Prints the closing table and the verdict; returns the exit status.
    int finish();

private:
    struct Section
    {
        QString name;
        int statements = 0;
        int wrong = 0;
        qint64 timeMs = 0;
    };

    void closeSection();
    void printRow(const Section &section);
    QString painted(const char *sgr, const QString &text) const;
    void print(const QString &text);

    bool m_isQuick;
    bool m_isColored;
    bool m_isAnimated;
    bool m_hasPassingFact = false;
    QTemporaryDir m_directory;
    QElapsedTimer m_sectionTime;
    Section m_current;
    QList<Section> m_sections;
    QList<QPair<QString, QString>> m_summary;
};

#endif // DEMO_H
