// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef COMMANDLINE_P_H
#define COMMANDLINE_P_H

#include <QtCore/QProcess>
#include <QtCore/QString>
#include <QtCore/QStringList>

/// How Qt 5 splits the one-string command lines that it starts without a shell.
namespace ZeCore {

namespace Detail {

/// The rules of QProcess::splitCommand(), which Qt releases before 5.15 lack:
/// white space separates words, double quotes hold a word together, three of
/// them in a row are one literal quote. Empty words do not count.
///
/// Compiled on every release, so that the tests compare the two.
inline QStringList splitCommandByHand(const QString &command)
{
    QStringList words;
    QString word;
    bool quoted = false;
    for (int i = 0; i < command.size();) {
        int quotes = 0;
        while (i + quotes < command.size() && command.at(i + quotes) == QLatin1Char('"'))
            ++quotes;
        if (quotes > 0) {
            word += QString(quotes / 3, QLatin1Char('"'));
            if (quotes % 3 == 1) // two open and close at once
                quoted = !quoted;
            i += quotes;
            continue;
        }
        const QChar character = command.at(i++);
        if (quoted || !character.isSpace()) {
            word += character;
        } else if (!word.isEmpty()) {
            words += word;
            word.clear();
        }
    }
    if (!word.isEmpty())
        words += word;
    return words;
}

} // namespace Detail

/// The program of @p command and its arguments; empty if it names no program.
inline QStringList splitCommand(const QString &command)
{
#if QT_VERSION >= QT_VERSION_CHECK(5, 15, 0)
    return QProcess::splitCommand(command);
#else
    return Detail::splitCommandByHand(command);
#endif
}

} // namespace ZeCore

#endif // COMMANDLINE_P_H
